// SPDX-License-Identifier: MIT
/// \file What a camera noted in a photograph.
#ifndef KINLOOM_PICTURES_EXIF_H
#define KINLOOM_PICTURES_EXIF_H

#include <cstddef>
#include <string>
#include <string_view>

namespace pictures {

/// The fields that matter here, as they are written; what is not there, or is malformed, stays empty.
struct Exif {
    unsigned orientation = 1; ///< 1 to 8
    std::string changed;      ///< DateTime
    std::string taken;        ///< DateTimeOriginal
    std::string digitized;    ///< DateTimeDigitized
    std::string takenFraction;
    std::string changedOffset;
    std::string takenOffset;
    std::string digitizedOffset;
};

/// The longest block that is looked at, in bytes.
inline constexpr std::size_t MOST_EXIF_BYTES = 256 * 1024;

/// Reads a block of EXIF: a TIFF header and what follows it, with or without "Exif" and two zeros before. Takes any bytes.
Exif readExif(std::string_view block);

} // namespace pictures

#endif
