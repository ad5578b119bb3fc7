// SPDX-License-Identifier: MIT
#include "files/Mime.h"

#include "core/Text.h"

#include <algorithm>

namespace kinloom {

namespace {

using namespace std::string_view_literals;

/// Bytes that stand at a place in every file of a type.
struct Magic {
    std::size_t offset;
    std::string_view bytes;
    std::string_view type;
};

constexpr Magic MAGICS[] = {
    {0, "\xFF\xD8\xFF"sv, "image/jpeg"},
    {0, "\x89PNG\r\n\x1A\n"sv, "image/png"},
    {0, "GIF87a"sv, "image/gif"},
    {0, "GIF89a"sv, "image/gif"},
    {8, "WEBPVP8"sv, "image/webp"},
    {0, "II*\0"sv, "image/tiff"},
    {0, "MM\0*"sv, "image/tiff"},
    {4, "ftypheic"sv, "image/heic"}, // what telephones write, and the brands of its relatives
    {4, "ftypheix"sv, "image/heic"},
    {4, "ftypheim"sv, "image/heic"},
    {4, "ftypheis"sv, "image/heic"},
    {4, "ftyphev"sv, "image/heic"},
    {4, "ftypavif"sv, "image/avif"},
    {4, "ftypmif1"sv, "image/heic"},
    {4, "ftypmsf1"sv, "image/heic"},
    {4, "ftypqt  "sv, "video/quicktime"},
    {4, "ftyp"sv, "video/mp4"},
    {0, "\x1A\x45\xDF\xA3"sv, "video/webm"},
    {8, "AVI LIST"sv, "video/x-msvideo"},
    {0, "ID3"sv, "audio/mpeg"},
    {0, "\xFF\xFB"sv, "audio/mpeg"},
    {0, "fLaC"sv, "audio/flac"},
    {0, "OggS"sv, "audio/ogg"},
    {8, "WAVE"sv, "audio/wav"},
    {0, "%PDF-"sv, "application/pdf"},
    {0, "PK\x03\x04"sv, "application/zip"},
    {0, "BM"sv, "image/bmp"},
};

struct Extension {
    std::string_view extension;
    std::string_view type;
};

constexpr Extension EXTENSIONS[] = {
    {"jpg", "image/jpeg"},       {"jpeg", "image/jpeg"}, {"jpe", "image/jpeg"},      {"png", "image/png"},
    {"gif", "image/gif"},        {"webp", "image/webp"}, {"tif", "image/tiff"},      {"tiff", "image/tiff"},
    {"bmp", "image/bmp"},        {"heic", "image/heic"}, {"heif", "image/heic"},     {"hif", "image/heic"},
    {"avif", "image/avif"},      {"mp4", "video/mp4"},   {"m4v", "video/mp4"},       {"mov", "video/quicktime"},
    {"mkv", "video/x-matroska"}, {"webm", "video/webm"}, {"avi", "video/x-msvideo"}, {"mp3", "audio/mpeg"},
    {"ogg", "audio/ogg"},        {"flac", "audio/flac"}, {"wav", "audio/wav"},       {"m4a", "audio/mp4"},
    {"pdf", "application/pdf"},
};

bool startsWith(std::string_view text, std::string_view beginning) { return text.substr(0, beginning.size()) == beginning; }

bool isToken(std::string_view text)
{
    constexpr std::string_view EXTRAS = "!#$&^_.+-";
    const auto fits = [&](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
               EXTRAS.find(c) != std::string_view::npos;
    };
    return !text.empty() && text.size() <= 127 && std::all_of(text.begin(), text.end(), fits);
}

std::string_view typeOfBytes(std::string_view firstBytes)
{
    for (const Magic& magic : MAGICS) {
        if (firstBytes.size() >= magic.offset && startsWith(firstBytes.substr(magic.offset), magic.bytes))
            return magic.type;
    }
    return {};
}

/// The types of photos that the service takes, by all their names.
constexpr std::string_view TAKEN[] = {"image/jpeg", "image/jpg", "image/pjpeg", "image/png", "image/x-png",
                                      "image/webp", "image/gif", "image/heic",  "image/heif"};
constexpr const char* TAKEN_IN_WORDS = "JPEG, PNG, WebP, GIF and HEIC";

bool isTaken(std::string_view type)
{
    const std::string name = lowered(type);
    return std::find(std::begin(TAKEN), std::end(TAKEN), name) != std::end(TAKEN);
}

} // namespace

std::string mimeTypeOf(std::string_view firstBytes, std::string_view name)
{
    if (const std::string_view type = typeOfBytes(firstBytes); !type.empty())
        return std::string(type);
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos)
        return {};
    const std::string extension = lowered(name.substr(dot + 1));
    for (const Extension& entry : EXTENSIONS) {
        if (entry.extension == extension)
            return std::string(entry.type);
    }
    return {};
}

W::KL_CONTENT_TYPE contentTypeOf(std::string_view mimeType)
{
    const std::string type = lowered(mimeType);
    if (startsWith(type, "image/"))
        return W::KL_CONTENT_PHOTO;
    if (startsWith(type, "video/"))
        return W::KL_CONTENT_VIDEO;
    return startsWith(type, "audio/") ? W::KL_CONTENT_MUSIC : W::KL_CONTENT_UNKNOWN;
}

std::string refusalOf(std::string_view firstBytes, std::string_view mimeType)
{
    const std::string type(mimeType);
    if (contentTypeOf(type) != W::KL_CONTENT_PHOTO)
        return "is no photo but " + type + ", and the service takes photos only";
    if (!isTaken(type))
        return "is a picture of the type " + type + ", and the service takes " + TAKEN_IN_WORDS + " only. Save it as one of these.";
    const std::string_view found = typeOfBytes(firstBytes);
    if (found.empty())
        return std::string("is no picture, whatever its name says: none of ") + TAKEN_IN_WORDS + " begins like this";
    return isTaken(found) ? "" : "is no picture that the service takes: it begins like " + std::string(found);
}

bool isMimeType(std::string_view text)
{
    const std::size_t slash = text.find('/');
    return slash != std::string_view::npos && isToken(text.substr(0, slash)) && isToken(text.substr(slash + 1));
}

} // namespace kinloom
