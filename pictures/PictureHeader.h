// SPDX-License-Identifier: MIT
/// \file What a file tells of its picture before any of it is decoded.
#ifndef KINLOOM_PICTURES_PICTUREHEADER_H
#define KINLOOM_PICTURES_PICTUREHEADER_H

#include "pictures/ByteSource.h"
#include "pictures/Exif.h"
#include "pictures/Formats.h"

#include <cstdint>
#include <optional>

namespace pictures {

/// What a picture tells of itself.
struct PictureHeader {
    std::int64_t width = 0; ///< as it is looked at: the orientation that the camera noted is taken into account
    std::int64_t height = 0;
    Exif exif;
};

/// \return whether a picture has no more pixels than that.
inline bool fitsInto(std::int64_t pixels, const PictureHeader& header) { return header.width <= pixels / header.height; }

/// Reads the header of a file in that format: sizes, and where they are easy to find the camera's notes. Takes any bytes and, since
/// the source ends at some point, little time. \return nothing when the header is not that of a picture.
std::optional<PictureHeader> readPictureHeader(ByteSource& source, Format format);

/// The part for files as telephones write them; in a file of its own, being the longest.
std::optional<PictureHeader> readHeicHeader(ByteSource& source);

} // namespace pictures

#endif
