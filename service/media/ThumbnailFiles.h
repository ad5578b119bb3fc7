// SPDX-License-Identifier: MIT
/// \file The thumbnails of one picture, on their way to their places.
#ifndef KINLOOMD_MEDIA_THUMBNAILFILES_H
#define KINLOOMD_MEDIA_THUMBNAILFILES_H

#include "media/MediaStore.h"

#include <list>
#include <vector>

namespace kinloomd {

/// An empty file for each of THUMBNAIL_SIZES. They are gone at the end of its life, unless they were kept. For one thread at a
/// time.
class ThumbnailFiles {
public:
    /// The store must outlive them. Throws std::system_error when a file cannot be made.
    explicit ThumbnailFiles(const MediaStore& media);

    /// Their descriptors, in the order of THUMBNAIL_SIZES.
    std::vector<int> descriptors() const;
    /// Moves them to their places, as those of a content. Throws std::system_error.
    void keep(Id content);

private:
    const MediaStore& m_media;
    std::list<TemporaryFile> m_files;
};

} // namespace kinloomd

#endif
