// SPDX-License-Identifier: MIT
#include "media/ThumbnailFiles.h"

namespace kinloomd {

ThumbnailFiles::ThumbnailFiles(const MediaStore& media) : m_media(media)
{
    for (std::size_t i = 0; i < THUMBNAIL_COUNT; ++i)
        m_files.emplace_back(media.temporary());
}

std::vector<int> ThumbnailFiles::descriptors() const
{
    std::vector<int> descriptors;
    for (const TemporaryFile& file : m_files)
        descriptors.push_back(file.fd());
    return descriptors;
}

void ThumbnailFiles::keep(Id content)
{
    const ThumbnailSize* size = THUMBNAIL_SIZES;
    for (TemporaryFile& file : m_files)
        m_media.keepThumbnail(file, content, *size++);
}

} // namespace kinloomd
