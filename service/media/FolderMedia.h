// SPDX-License-Identifier: MIT
/// \file Media in files of the data folder.
#ifndef KINLOOMD_MEDIA_FOLDERMEDIA_H
#define KINLOOMD_MEDIA_FOLDERMEDIA_H

#include "media/DataFolder.h"
#include "media/MediaStore.h"

#include <mutex>

namespace kinloomd {

/// The media files of a data folder, or of a backup.
class FolderMedia : public MediaStore {
public:
    explicit FolderMedia(DataFolder folder) : m_folder(std::move(folder)) {}

    const DataFolder& folder() const { return m_folder; }
    std::string originalPath(const OriginalName& original) const;
    std::string thumbnailPath(Id content, const ThumbnailSize& size) const;
    std::string personImagePath(Id person, std::int64_t image) const;
    /// Removes originals and pictures of people that are not known. For a folder that nobody else uses.
    void removeUnknown(const KnownMedia& known) const;

    std::string temporary() const override { return m_folder.temporary(); }
    std::unique_ptr<StoredMedium> openOriginal(const OriginalName& original, std::int64_t size) const override;
    std::unique_ptr<StoredMedium> openThumbnail(Id content, const ThumbnailSize& size) const override;
    std::unique_ptr<StoredMedium> openPersonImage(Id person, std::int64_t image) const override;
    std::optional<std::int64_t> originalSize(const OriginalName& original) const override;
    bool hasPersonImage(Id person, std::int64_t image) const override;
    bool hasThumbnails(Id content) const override;
    UniqueFd originalFile(const OriginalName& original) const override;
    OriginalName newName(Id content) const override;
    std::unique_ptr<MediaDraft> newOriginal(const OriginalName& original) const override;
    void keepOriginal(TemporaryFile& file, const OriginalName& original) const override;
    bool linkOriginal(const OriginalName& from, const OriginalName& to) const override;
    void keepThumbnail(TemporaryFile& file, Id content, const ThumbnailSize& size) const override;
    void keepPersonImage(TemporaryFile& file, Id person, std::int64_t image) const override;
    void removeThumbnails(Id content) const noexcept override;
    void removeOriginal(const OriginalName& original) const noexcept override;
    void removeContent(const OriginalName& original) const noexcept override;
    void removePersonImage(Id person, std::int64_t image) const noexcept override;
    void forEachOriginal(const std::function<void(const KeptMedium&)>& visit) const override;
    void forEachPersonImage(const std::function<void(const KeptMedium&)>& visit) const override;
    /// Unfinished uploads, files of uploads and contents that are not known, and pictures that are no longer those of people.
    void sweep(const KnownMedia& known) const override;
    /// Of a folder that several services use; the only service of a folder has swept it when it began.
    void collect(const KnownMedia& known, Millis before) const override;

private:
    void forEachUnknown(const KnownMedia& known, const std::function<void(const std::string&)>& visit) const;
    void forEachUnknownThumbnail(const KnownMedia& known, const std::function<void(const std::string&)>& visit) const;
    std::string shard(const std::string& folder, Id content) const;
    std::string madeShard(const std::string& folder, Id content) const;

    DataFolder m_folder;
    mutable std::mutex m_makingShards; ///< held until a new folder is synced, so that whoever finds it may rely on it
};

} // namespace kinloomd

#endif
