// SPDX-License-Identifier: MIT
/// \file The file formats of photos.
#ifndef KINLOOM_PICTURES_FORMATS_H
#define KINLOOM_PICTURES_FORMATS_H

#include <cstddef>
#include <string>
#include <string_view>

namespace pictures {

/// The numbers are kept in databases.
enum class Format : int { NONE = 0, JPEG = 1, PNG = 2, WEBP = 3, GIF = 4, HEIC = 5 };

struct FormatEntry {
    Format format;
    const char* name;      ///< in records
    const char* mimeType;  ///< in Content-Type headers
    const char* extension; ///< of file names, without the dot
};

inline constexpr FormatEntry FORMATS[] = {
    {Format::JPEG, "jpeg", "image/jpeg", "jpg"},  {Format::PNG, "png", "image/png", "png"},
    {Format::WEBP, "webp", "image/webp", "webp"}, {Format::GIF, "gif", "image/gif", "gif"},
    {Format::HEIC, "heic", "image/heic", "heic"},
};

/// How many bytes of a file \c sniffFormat wants to see.
inline constexpr std::size_t SNIFF_BYTES = 64;

/// The entry of a format; not for Format::NONE.
const FormatEntry& formatEntry(Format format);

/// What photos may be, for people.
inline constexpr const char* FORMATS_SENTENCE = "Photos are JPEG, PNG, WebP, GIF or HEIC files.";

/// The format that a file's first bytes show.
Format sniffFormat(std::string_view firstBytes);

/// The format that a MIME type names, parameters and case aside. Older names of the same types count too.
Format formatOfMimeType(std::string_view mimeType);

/// The file name with an extension that fits the format: its own, or the usual one.
std::string nameWithExtension(const std::string& fileName, Format format);

} // namespace pictures

#endif
