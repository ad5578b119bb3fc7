// SPDX-License-Identifier: MIT
/// \file Pictures: read, checked and made smaller.
#ifndef KINLOOMD_MEDIA_PICTURES_H
#define KINLOOMD_MEDIA_PICTURES_H

#include "media/MediaStore.h"
#include "store/Records.h"

#include <functional>
#include <optional>

namespace kinloomd {

/// Sets up the picture library for the process. Call once, before any other thread runs. Throws std::runtime_error.
void startPictures();

/// Frees what the picture library keeps for the calling thread.
void endPictureThread();

/// What a picture tells of itself.
struct PictureInfo {
    Format format = Format::NONE;
    std::int64_t width = 0; ///< as it is looked at: the orientation that the camera noted is taken into account
    std::int64_t height = 0;
    std::optional<Millis> taken;
};

/// What may be spent on a picture.
struct PictureBounds {
    std::int64_t pixels = 0;      ///< the largest width times height
    std::function<bool()> giveUp; ///< asked now and then while a picture is read; true ends it. May be empty.
};

/// The format that the first bytes of a file show.
Format sniffFile(const std::string& path);

/// Reads every pixel of the picture and puts its thumbnails in their place.
/// Throws ServiceError: BROKEN_PICTURE when it cannot be read to its end or has too many pixels, UNAVAILABLE when it was given up.
PictureInfo makeThumbnails(const std::string& path, Format format, const PictureBounds& bounds, const MediaStore& media,
                           Id content);

/// Makes the picture of a person, 72 by 72 pixels, as the bytes of a JPEG file. Throws like \c makeThumbnails.
std::string makePersonImage(const std::string& path, const PictureBounds& bounds);

} // namespace kinloomd

#endif
