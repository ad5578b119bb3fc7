// SPDX-License-Identifier: MIT
#include "media/Formats.h"

#include "core/Text.h"

#include <cassert>

namespace kinloomd {

namespace {

struct Alias {
    std::string_view name;
    Format format;
};

constexpr Alias MIME_ALIASES[] = {{"image/jpg", Format::JPEG}, {"image/pjpeg", Format::JPEG}, {"image/x-png", Format::PNG}};

constexpr Alias EXTENSIONS[] = {{"jpg", Format::JPEG}, {"jpeg", Format::JPEG}, {"jpe", Format::JPEG}, {"jfif", Format::JPEG},
                                {"png", Format::PNG},  {"webp", Format::WEBP}, {"gif", Format::GIF}};

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
    if (startsWith(bytes, "RIFF") && bytes.size() >= SNIFF_BYTES && bytes.substr(8, 4) == "WEBP")
        return Format::WEBP;
    return Format::NONE;
}

Format formatOfMimeType(std::string_view mimeType)
{
    const std::string_view type = trim(mimeType.substr(0, mimeType.find(';')));
    for (const FormatEntry& entry : FORMATS) {
        if (equalsIgnoringCase(type, entry.mimeType))
            return entry.format;
    }
    for (const Alias& alias : MIME_ALIASES) {
        if (equalsIgnoringCase(type, alias.name))
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
            if (alias.format == format && equalsIgnoringCase(extension, alias.name))
                return fileName;
        }
    }
    return fileName + "." + formatEntry(format).extension;
}

} // namespace kinloomd
