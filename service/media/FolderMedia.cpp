// SPDX-License-Identifier: MIT
#include "media/FolderMedia.h"

#include "core/Digest.h"
#include "core/Text.h"

#include <algorithm>
#include <filesystem>

namespace kinloomd {

namespace {

namespace fs = std::filesystem;

constexpr Id SHARDS = 256; ///< media files are spread over this many folders

/// A part of a file. Borrows the descriptor.
class FileReader : public MediumReader {
public:
    FileReader(int file, std::int64_t offset, std::int64_t length, const std::string& path)
        : m_file(file), m_next(offset), m_left(length), m_path(path)
    {
    }

    std::size_t read(char* buffer, std::size_t size) override
    {
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(static_cast<std::int64_t>(size), m_left));
        const std::size_t count = wanted == 0 ? 0 : readAt(m_file, buffer, wanted, m_next, m_path);
        m_next += static_cast<std::int64_t>(count);
        m_left -= static_cast<std::int64_t>(count);
        return count;
    }

private:
    int m_file;
    std::int64_t m_next;
    std::int64_t m_left;
    std::string m_path;
};

/// A medium in a file.
class FileMedium : public StoredMedium {
public:
    FileMedium(UniqueFd file, std::string path)
        : m_file(std::move(file)), m_path(std::move(path)), m_size(sizeOf(m_file.get(), m_path))
    {
    }

    std::int64_t size() const override { return m_size; }
    UniqueFd takeFile() override { return std::move(m_file); }
    std::unique_ptr<MediumReader> read(std::int64_t offset, std::int64_t length) override
    {
        return std::make_unique<FileReader>(m_file.get(), offset, length, m_path);
    }
    std::string addressFor(std::chrono::seconds, const char*) const override { return {}; }

private:
    UniqueFd m_file;
    std::string m_path;
    std::int64_t m_size;
};

std::unique_ptr<StoredMedium> openMedium(const std::string& path)
{
    UniqueFd file = openForReading(path);
    return file ? std::make_unique<FileMedium>(std::move(file), path) : nullptr;
}

/// An original in a file that has its name only when it is kept.
class FileDraft : public MediaDraft {
public:
    FileDraft(const FolderMedia& media, Id content) : m_media(media), m_content(content), m_file(media.temporary()) {}

    void write(std::string_view bytes) override { m_file.write(bytes); }
    int fd() const override { return m_file.fd(); }
    void keep() override { m_media.keepOriginal(m_file, m_content); }

private:
    const FolderMedia& m_media;
    Id m_content;
    TemporaryFile m_file;
};

/// Removes a file unless its content is known.
std::function<void(Id, const std::string&)> remover(const std::function<bool(Id)>& isKnown)
{
    return [&isKnown](Id id, const std::string& path) {
        if (id == 0 || !isKnown(id))
            removeFile(path);
    };
}

/// Of what was deleted just now.
std::int64_t sizeAt(const std::string& path)
{
    const UniqueFd file = openForReading(path);
    return file ? sizeOf(file.get(), path) : 0;
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

std::string FolderMedia::shard(const std::string& folder, Id content) const
{
    return folder + "/" + toHex(std::string(1, static_cast<char>(content % SHARDS)));
}

std::string FolderMedia::madeShard(const std::string& folder, Id content) const
{
    const std::string path = shard(folder, content);
    const std::lock_guard<std::mutex> lock(m_makingShards);
    if (makePrivateFolder(path))
        syncFolder(folder);
    return path;
}

std::string FolderMedia::originalPath(Id content) const { return shard(m_folder.media(), content) + "/" + std::to_string(content); }

std::string FolderMedia::thumbnailPath(Id content, const ThumbnailSize& size) const
{
    return shard(m_folder.thumbnails(), content) + "/" + std::to_string(content) + "-" + size.name;
}

std::string FolderMedia::personImagePath(Id person, std::int64_t image) const
{
    return m_folder.people() + "/" + std::to_string(person) + "-" + std::to_string(image);
}

std::unique_ptr<StoredMedium> FolderMedia::openOriginal(Id content, std::int64_t) const
{
    return openMedium(originalPath(content));
}

std::unique_ptr<StoredMedium> FolderMedia::openThumbnail(Id content, const ThumbnailSize& size) const
{
    auto medium = openMedium(thumbnailPath(content, size));
    // Thumbnails are not synced: after a power failure one may be an empty file.
    return medium && medium->size() > 0 ? std::move(medium) : nullptr;
}

std::unique_ptr<StoredMedium> FolderMedia::openPersonImage(Id person, std::int64_t image) const
{
    return openMedium(personImagePath(person, image));
}

bool FolderMedia::hasOriginal(Id content) const { return static_cast<bool>(originalFile(content)); }

bool FolderMedia::hasPersonImage(Id person, std::int64_t image) const
{
    return static_cast<bool>(openForReading(personImagePath(person, image)));
}

UniqueFd FolderMedia::originalFile(Id content) const { return openForReading(originalPath(content)); }

std::unique_ptr<MediaDraft> FolderMedia::newOriginal(Id content) const { return std::make_unique<FileDraft>(*this, content); }

void FolderMedia::keepOriginal(TemporaryFile& file, Id content) const
{
    file.moveTo(madeShard(m_folder.media(), content), std::to_string(content));
}

bool FolderMedia::linkOriginal(Id from, Id to) const
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

void FolderMedia::keepThumbnail(TemporaryFile& file, Id content, const ThumbnailSize& size) const
{
    // A lost thumbnail is made again, so nothing waits for the disk here.
    makePrivateFolder(shard(m_folder.thumbnails(), content));
    file.renameTo(thumbnailPath(content, size));
}

bool FolderMedia::hasThumbnails(Id content) const
{
    return std::all_of(std::begin(THUMBNAIL_SIZES), std::end(THUMBNAIL_SIZES),
                       [&](const ThumbnailSize& size) { return openThumbnail(content, size) != nullptr; });
}

void FolderMedia::keepPersonImage(TemporaryFile& file, Id person, std::int64_t image) const
{
    file.moveTo(m_folder.people(), std::to_string(person) + "-" + std::to_string(image));
}

void FolderMedia::removeContent(Id content) const noexcept
{
    removeFile(originalPath(content));
    removeThumbnails(content);
}

void FolderMedia::removeThumbnails(Id content) const noexcept
{
    for (const ThumbnailSize& size : THUMBNAIL_SIZES)
        removeFile(thumbnailPath(content, size));
}

void FolderMedia::removePersonImage(Id person, std::int64_t image) const noexcept { removeFile(personImagePath(person, image)); }

void FolderMedia::forEachOriginal(const std::function<void(const KeptMedium&)>& visit) const
{
    forEachFile(m_folder.media(), [&](Id id, const std::string& path) { visit({id, 0, sizeAt(path), path}); });
}

void FolderMedia::forEachPersonImage(const std::function<void(const KeptMedium&)>& visit) const
{
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder.people())) {
        const std::string path = file.path().string();
        const std::string name = file.path().filename().string();
        const auto dash = name.find('-');
        const auto image = dash == std::string::npos ? std::nullopt : parseId(std::string_view(name).substr(dash + 1));
        visit({parseId(std::string_view(name).substr(0, dash)).value_or(0), image.value_or(0), sizeAt(path), path});
    }
}

void FolderMedia::sweep(const KnownMedia& known) const
{
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder.temporary()))
        removeFile(file.path().string());
    removeUnknown(known);
    forEachFile(m_folder.thumbnails(), remover(known.isContent));
}

void FolderMedia::removeUnknown(const KnownMedia& known) const
{
    forEachFile(m_folder.media(), remover(known.isContent));
    forEachPersonImage([&known](const KeptMedium& picture) {
        if (!known.isPersonImage(picture.id, picture.image))
            removeFile(picture.name);
    });
}

} // namespace kinloomd
