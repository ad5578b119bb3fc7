// SPDX-License-Identifier: MIT
/// \file Media files: where they lie, how they come and go.
#ifndef KINLOOMD_MEDIA_MEDIASTORE_H
#define KINLOOMD_MEDIA_MEDIASTORE_H

#include "core/Files.h"
#include "media/DataFolder.h"
#include "media/ThumbnailSizes.h" // IWYU pragma: export
#include "store/Records.h"

#include <functional>
#include <mutex>

namespace kinloomd {

/// A new file in the folder for files on their way. It is removed at the end of its life, unless it was moved to its place.
class TemporaryFile {
public:
    explicit TemporaryFile(const std::string& folder);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();

    const std::string& path() const { return m_path; }
    int fd() const { return m_fd.get(); }
    /// Appends bytes.
    void write(std::string_view bytes) { writeAll(m_fd.get(), bytes, m_path); }
    /// Gives the file its final name; its bytes are on the disk before, its name when this returns.
    void moveTo(const std::string& folder, const std::string& name);

private:
    std::string m_path;
    UniqueFd m_fd;
    bool m_moved = false;
};

/// The media files of a data folder. Safe for several threads, as long as each content is changed by one at a time.
class MediaStore {
public:
    explicit MediaStore(DataFolder folder) : m_folder(std::move(folder)) {}

    const DataFolder& folder() const { return m_folder; }

    std::string originalPath(Id content) const;
    std::string thumbnailPath(Id content, const ThumbnailSize& size) const;
    std::string personImagePath(Id person, std::int64_t image) const;

    /// Puts a whole upload in its place.
    void keepOriginal(TemporaryFile& file, Id content) const;
    /// Gives a content the file of another one, as a further name of it. \return false when the file system has no more names.
    bool linkOriginal(Id from, Id to) const;
    /// Puts a finished thumbnail in its place.
    void keepThumbnail(TemporaryFile& file, Id content, const ThumbnailSize& size) const;
    /// \return whether all thumbnails of a content are there and hold something.
    bool hasThumbnails(Id content) const;
    void keepPersonImage(TemporaryFile& file, Id person, std::int64_t image) const;

    void removeThumbnails(Id content) const noexcept;
    /// Removes the original and its thumbnails.
    void removeContent(Id content) const noexcept;

    /// Calls with the content's identifier and the path of each original.
    void forEachOriginal(const std::function<void(Id, const std::string&)>& visit) const;
    /// Calls with the person's identifier, the number of the picture and the path of each picture of a person.
    void forEachPersonImage(const std::function<void(Id, std::int64_t, const std::string&)>& visit) const;
    /// Removes files of contents and pictures of people that are not known. For a folder that nobody else uses.
    void removeUnknown(const std::function<bool(Id)>& isLive, const std::function<bool(Id, std::int64_t)>& isPersonImage) const;
    /// Removes what a service that was killed has left: unfinished uploads, files of contents that \p isLive does not know, and
    /// pictures that are no longer those of people. Only while nobody adds files.
    void sweep(const std::function<bool(Id)>& isLive, const std::function<bool(Id, std::int64_t)>& isPersonImage) const;

private:
    std::string shard(const std::string& folder, Id content) const;
    std::string madeShard(const std::string& folder, Id content) const;

    DataFolder m_folder;
    mutable std::mutex m_makingShards; ///< held until a new folder is synced, so that whoever finds it may rely on it
};

} // namespace kinloomd

#endif
