// SPDX-License-Identifier: MIT
#include "pictures/Formats.h"

#include "httpd/Text.h"

#include <algorithm>
#include <cassert>
#include <iterator>

namespace pictures {

namespace {

struct Alias {
    std::string_view name;
    Format format;
};

constexpr Alias MIME_ALIASES[] = {
    {"image/jpg", Format::JPEG}, {"image/pjpeg", Format::JPEG}, {"image/x-png", Format::PNG}, {"image/heif", Format::HEIC}};

constexpr Alias EXTENSIONS[] = {{"jpg", Format::JPEG},  {"jpeg", Format::JPEG}, {"jpe", Format::JPEG}, {"jfif", Format::JPEG},
                                {"png", Format::PNG},   {"webp", Format::WEBP}, {"gif", Format::GIF},  {"heic", Format::HEIC},
                                {"heif", Format::HEIC}, {"hif", Format::HEIC}};

// What a file's type box says first: that it is coded the way telephones code photographs, or only that it holds pictures; then the
// brands after it say how they are coded.
constexpr std::string_view HEIC_BRANDS[] = {"heic", "heix", "heim", "heis", "hevc", "hevx", "hevm", "hevs"};
constexpr std::string_view PICTURE_BRANDS[] = {"mif1", "msf1", "mif2"};

template <std::size_t COUNT> bool isOneOf(std::string_view brand, const std::string_view (&brands)[COUNT])
{
    return std::find(std::begin(brands), std::end(brands), brand) != std::end(brands);
}

/// \param bytes the beginning of a file: the size of its type box, "ftyp", the main brand, a version, and further brands.
bool isHeic(std::string_view bytes)
{
    constexpr std::size_t MAIN_BRAND = 8;
    constexpr std::size_t FURTHER_BRANDS = 16;
    if (bytes.size() < MAIN_BRAND + 4 || bytes.substr(4, 4) != "ftyp")
        return false;
    const std::string_view main = bytes.substr(MAIN_BRAND, 4);
    if (isOneOf(main, HEIC_BRANDS))
        return true;
    const std::size_t size = static_cast<unsigned char>(bytes[2]) * std::size_t{256} + static_cast<unsigned char>(bytes[3]);
    bool found = false;
    for (std::size_t at = FURTHER_BRANDS; at + 4 <= std::min(bytes.size(), size); at += 4)
        found = found || isOneOf(bytes.substr(at, 4), HEIC_BRANDS);
    return found && isOneOf(main, PICTURE_BRANDS);
}

bool startsWith(std::string_view text, std::string_view prefix) { return text.substr(0, prefix.size()) == prefix; }

} // namespace

const FormatEntry& formatEntry(Format format)
{
    for (const FormatEntry& entry : FORMATS) {
        if (entry.format == format)
            return entry;
    }
    assert(false);
    return FORMATS[0];
}

Format sniffFormat(std::string_view bytes)
{
    if (startsWith(bytes, "\xFF\xD8\xFF"))
        return Format::JPEG;
    if (startsWith(bytes, "\x89PNG\r\n\x1A\n"))
        return Format::PNG;
    if (startsWith(bytes, "GIF87a") || startsWith(bytes, "GIF89a"))
        return Format::GIF;
    if (startsWith(bytes, "RIFF") && bytes.size() >= 12 && bytes.substr(8, 4) == "WEBP")
        return Format::WEBP;
    return isHeic(bytes) ? Format::HEIC : Format::NONE;
}

Format formatOfMimeType(std::string_view mimeType)
{
    const std::string_view type = httpd::trim(mimeType.substr(0, mimeType.find(';')));
    for (const FormatEntry& entry : FORMATS) {
        if (httpd::equalsIgnoringCase(type, entry.mimeType))
            return entry.format;
    }
    for (const Alias& alias : MIME_ALIASES) {
        if (httpd::equalsIgnoringCase(type, alias.name))
            return alias.format;
    }
    return Format::NONE;
}

std::string nameWithExtension(const std::string& fileName, Format format)
{
    const auto dot = fileName.rfind('.');
    if (dot != std::string::npos) {
        const std::string_view extension = std::string_view(fileName).substr(dot + 1);
        for (const Alias& alias : EXTENSIONS) {
            if (alias.format == format && httpd::equalsIgnoringCase(extension, alias.name))
                return fileName;
        }
    }
    return fileName + "." + formatEntry(format).extension;
}

} // namespace pictures
