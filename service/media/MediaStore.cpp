// SPDX-License-Identifier: MIT
#include "media/MediaStore.h"

#include "core/Digest.h"
#include "core/Text.h"

#include <algorithm>
#include <filesystem>

namespace kinloomd {

namespace {

namespace fs = std::filesystem;

constexpr Id SHARDS = 256; ///< media files are spread over this many folders

/// Removes a file unless its content is live.
std::function<void(Id, const std::string&)> remover(const std::function<bool(Id)>& isLive)
{
    return [&isLive](Id id, const std::string& path) {
        if (id == 0 || !isLive(id))
            removeFile(path);
    };
}

/// Calls with the identifier at the start of each file name in the shards of a folder; 0 for other names.
void forEachFile(const std::string& folder, const std::function<void(Id, const std::string&)>& visit)
{
    for (const fs::directory_entry& shard : fs::directory_iterator(folder)) {
        if (!shard.is_directory())
            continue;
        for (const fs::directory_entry& file : fs::directory_iterator(shard.path())) {
            const std::string name = file.path().filename().string();
            visit(parseId(std::string_view(name).substr(0, name.find('-'))).value_or(0), file.path().string());
        }
    }
}

} // namespace

TemporaryFile::TemporaryFile(const std::string& folder)
    : m_path(folder + "/" + toHex(randomBytes(16))), m_fd(createPrivateFile(m_path))
{
}

TemporaryFile::~TemporaryFile()
{
    if (!m_moved)
        removeFile(m_path);
}

void TemporaryFile::moveTo(const std::string& folder, const std::string& name)
{
    syncFile(m_fd.get(), m_path);
    renameFile(m_path, folder + "/" + name);
    m_moved = true;
    syncFolder(folder);
}

std::string MediaStore::shard(const std::string& folder, Id content) const
{
    return folder + "/" + toHex(std::string(1, static_cast<char>(content % SHARDS)));
}

std::string MediaStore::madeShard(const std::string& folder, Id content) const
{
    const std::string path = shard(folder, content);
    const std::lock_guard<std::mutex> lock(m_makingShards);
    if (makePrivateFolder(path))
        syncFolder(folder);
    return path;
}

std::string MediaStore::originalPath(Id content) const { return shard(m_folder.media(), content) + "/" + std::to_string(content); }

std::string MediaStore::thumbnailPath(Id content, const ThumbnailSize& size) const
{
    return shard(m_folder.thumbnails(), content) + "/" + std::to_string(content) + "-" + size.name;
}

std::string MediaStore::personImagePath(Id person, std::int64_t image) const
{
    return m_folder.people() + "/" + std::to_string(person) + "-" + std::to_string(image);
}

void MediaStore::keepOriginal(TemporaryFile& file, Id content) const
{
    file.moveTo(madeShard(m_folder.media(), content), std::to_string(content));
}

bool MediaStore::linkOriginal(Id from, Id to) const
{
    madeShard(m_folder.media(), to);
    if (::link(originalPath(from).c_str(), originalPath(to).c_str()) != 0)
        return false;
    // A thumbnail that cannot be linked is made when it is first asked for.
    makePrivateFolder(shard(m_folder.thumbnails(), to));
    for (const ThumbnailSize& size : THUMBNAIL_SIZES)
        [[maybe_unused]] const int ignored = ::link(thumbnailPath(from, size).c_str(), thumbnailPath(to, size).c_str());
    return true;
}

void MediaStore::keepThumbnail(TemporaryFile& file, Id content, const ThumbnailSize& size) const
{
    // A lost thumbnail is made again, so nothing waits for the disk here.
    makePrivateFolder(shard(m_folder.thumbnails(), content));
    renameFile(file.path(), thumbnailPath(content, size));
}

bool MediaStore::hasThumbnails(Id content) const
{
    return std::all_of(std::begin(THUMBNAIL_SIZES), std::end(THUMBNAIL_SIZES), [&](const ThumbnailSize& size) {
        const std::string path = thumbnailPath(content, size);
        // Thumbnails are not synced: after a power failure one may be an empty file.
        const UniqueFd file = openForReading(path);
        return file && sizeOf(file.get(), path) > 0;
    });
}

void MediaStore::keepPersonImage(TemporaryFile& file, Id person, std::int64_t image) const
{
    file.moveTo(m_folder.people(), std::to_string(person) + "-" + std::to_string(image));
}

void MediaStore::removeContent(Id content) const noexcept
{
    removeFile(originalPath(content));
    removeThumbnails(content);
}

void MediaStore::removeThumbnails(Id content) const noexcept
{
    for (const ThumbnailSize& size : THUMBNAIL_SIZES)
        removeFile(thumbnailPath(content, size));
}

void MediaStore::forEachOriginal(const std::function<void(Id, const std::string&)>& visit) const
{
    forEachFile(m_folder.media(), visit);
}

void MediaStore::forEachPersonImage(const std::function<void(Id, std::int64_t, const std::string&)>& visit) const
{
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder.people())) {
        const std::string name = file.path().filename().string();
        const auto dash = name.find('-');
        const auto image = dash == std::string::npos ? std::nullopt : parseId(std::string_view(name).substr(dash + 1));
        visit(parseId(std::string_view(name).substr(0, dash)).value_or(0), image.value_or(0), file.path().string());
    }
}

void MediaStore::sweep(const std::function<bool(Id)>& isLive, const std::function<bool(Id, std::int64_t)>& isPersonImage) const
{
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder.temporary()))
        removeFile(file.path().string());
    removeUnknown(isLive, isPersonImage);
    forEachFile(m_folder.thumbnails(), remover(isLive));
}

void MediaStore::removeUnknown(const std::function<bool(Id)>& isLive,
                               const std::function<bool(Id, std::int64_t)>& isPersonImage) const
{
    forEachFile(m_folder.media(), remover(isLive));
    forEachPersonImage([&isPersonImage](Id person, std::int64_t image, const std::string& path) {
        if (!isPersonImage(person, image))
            removeFile(path);
    });
}

} // namespace kinloomd
