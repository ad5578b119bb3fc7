// SPDX-License-Identifier: MIT
#include "media/ThumbnailSizes.h"

namespace kinloomd {

namespace {

constexpr pictures::Box PERSON_IMAGE = {72, 72};

} // namespace

pictures::PictureTask thumbnailTask()
{
    pictures::PictureTask task;
    for (const ThumbnailSize& size : THUMBNAIL_SIZES)
        task.boxes.push_back({size.width, size.height});
    return task;
}

pictures::PictureTask personImageTask() { return {pictures::PictureOrder::FILL, {PERSON_IMAGE}}; }

} // namespace kinloomd
