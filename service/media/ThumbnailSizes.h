// SPDX-License-Identifier: MIT
/// \file The sizes in which pictures are kept beside their originals.
#ifndef KINLOOMD_MEDIA_THUMBNAILSIZES_H
#define KINLOOMD_MEDIA_THUMBNAILSIZES_H

#include "pictures/PictureProcess.h"

#include <cstddef>
#include <iterator>

namespace kinloomd {

/// Pictures fit into a size; small ones are not enlarged.
struct ThumbnailSize {
    enum Of { CONTENT, GROUP };

    const char* name;
    int width;
    int height;
    Of of; ///< whose record names it
};

/// All sizes, the largest first: the others are made of it. A group's picture is that of a content, in a size of its own.
inline constexpr ThumbnailSize THUMBNAIL_SIZES[] = {
    {"1920X1080", 1920, 1080, ThumbnailSize::CONTENT},
    {"540X405", 540, 405, ThumbnailSize::CONTENT},
    {"274X204", 274, 204, ThumbnailSize::GROUP},
    {"116X87", 116, 87, ThumbnailSize::CONTENT},
};
inline constexpr std::size_t THUMBNAIL_COUNT = std::size(THUMBNAIL_SIZES);
inline constexpr const ThumbnailSize& LARGEST_THUMBNAIL = THUMBNAIL_SIZES[0];
static_assert(THUMBNAIL_COUNT <= pictures::MOST_OUTPUTS);

/// The making of all thumbnails of a picture, in the order of THUMBNAIL_SIZES.
pictures::PictureTask thumbnailTask();
/// The making of a person's picture, 72 by 72 pixels.
pictures::PictureTask personImageTask();

} // namespace kinloomd

#endif
