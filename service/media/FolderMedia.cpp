// SPDX-License-Identifier: MIT
#include "media/FolderMedia.h"

#include "core/Digest.h"
#include "core/Log.h"
#include "media/MediumNames.h"

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>

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
    FileDraft(const FolderMedia& media, const OriginalName& original)
        : m_media(media), m_original(original), m_file(media.temporary())
    {
    }

    void write(std::string_view bytes) override { m_file.write(bytes); }
    int fd() const override { return m_file.fd(); }
    void keep() override { m_media.keepOriginal(m_file, m_original); }

private:
    const FolderMedia& m_media;
    OriginalName m_original;
    TemporaryFile m_file;
};

/// Of what was deleted just now.
std::int64_t sizeAt(const std::string& path)
{
    const UniqueFd file = openForReading(path);
    return file ? sizeOf(file.get(), path) : 0;
}

/// \return whether a file was written last before a time. One that has gone meanwhile was not.
bool isFromBefore(const std::string& path, Millis time)
{
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && Millis{info.st_mtim.tv_sec} * 1000 + info.st_mtim.tv_nsec / 1'000'000 < time;
}

/// Calls with the name and the path of each file in the shards of a folder.
void forEachFile(const std::string& folder, const std::function<void(const std::string&, const std::string&)>& visit)
{
    for (const fs::directory_entry& shard : fs::directory_iterator(folder)) {
        if (!shard.is_directory())
            continue;
        for (const fs::directory_entry& file : fs::directory_iterator(shard.path()))
            visit(file.path().filename().string(), file.path().string());
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

std::string FolderMedia::originalPath(const OriginalName& original) const
{
    return shard(m_folder.media(), original.content) + "/" + fileNameOf(original);
}

std::string FolderMedia::thumbnailPath(Id content, const ThumbnailSize& size) const
{
    return shard(m_folder.thumbnails(), content) + "/" + std::to_string(content) + "-" + size.name;
}

std::string FolderMedia::personImagePath(Id person, std::int64_t image) const
{
    return m_folder.people() + "/" + std::to_string(person) + "-" + std::to_string(image);
}

std::unique_ptr<StoredMedium> FolderMedia::openOriginal(const OriginalName& original, std::int64_t) const
{
    return openMedium(originalPath(original));
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

std::optional<std::int64_t> FolderMedia::originalSize(const OriginalName& original) const
{
    const std::string path = originalPath(original);
    const UniqueFd file = openForReading(path);
    return file ? std::optional(sizeOf(file.get(), path)) : std::nullopt;
}

bool FolderMedia::hasPersonImage(Id person, std::int64_t image) const
{
    return static_cast<bool>(openForReading(personImagePath(person, image)));
}

UniqueFd FolderMedia::originalFile(const OriginalName& original) const { return openForReading(originalPath(original)); }

/// The only service of a folder lets one upload at a time come for a content.
OriginalName FolderMedia::newName(Id content) const
{
    return m_folder.isShared() ? newOriginalName(content) : OriginalName{content};
}

std::unique_ptr<MediaDraft> FolderMedia::newOriginal(const OriginalName& original) const
{
    return std::make_unique<FileDraft>(*this, original);
}

void FolderMedia::keepOriginal(TemporaryFile& file, const OriginalName& original) const
{
    file.moveTo(madeShard(m_folder.media(), original.content), fileNameOf(original));
}

bool FolderMedia::linkOriginal(const OriginalName& from, const OriginalName& to) const
{
    madeShard(m_folder.media(), to.content);
    if (::link(originalPath(from).c_str(), originalPath(to).c_str()) != 0)
        return false;
    // A thumbnail that cannot be linked is made when it is first asked for.
    makePrivateFolder(shard(m_folder.thumbnails(), to.content));
    for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
        [[maybe_unused]] const int ignored =
            ::link(thumbnailPath(from.content, size).c_str(), thumbnailPath(to.content, size).c_str());
    }
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

void FolderMedia::removeOriginal(const OriginalName& original) const noexcept { removeFile(originalPath(original)); }

void FolderMedia::removeContent(const OriginalName& original) const noexcept
{
    removeOriginal(original);
    removeThumbnails(original.content);
}

void FolderMedia::removeThumbnails(Id content) const noexcept
{
    for (const ThumbnailSize& size : THUMBNAIL_SIZES)
        removeFile(thumbnailPath(content, size));
}

void FolderMedia::removePersonImage(Id person, std::int64_t image) const noexcept { removeFile(personImagePath(person, image)); }

void FolderMedia::forEachOriginal(const std::function<void(const KeptMedium&)>& visit) const
{
    forEachFile(m_folder.media(), [&](const std::string& name, const std::string& path) {
        const NumberedName numbers = parseNumberedName(name);
        visit({numbers.id, numbers.number, sizeAt(path), path});
    });
}

void FolderMedia::forEachPersonImage(const std::function<void(const KeptMedium&)>& visit) const
{
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder.people())) {
        const std::string path = file.path().string();
        const NumberedName numbers = parseNumberedName(file.path().filename().string());
        visit({numbers.id, numbers.number, sizeAt(path), path});
    }
}

/// Calls with the path of each medium that is not known.
void FolderMedia::forEachUnknown(const KnownMedia& known, const std::function<void(const std::string&)>& visit) const
{
    forEachFile(m_folder.media(), [&](const std::string& name, const std::string& path) {
        const NumberedName numbers = parseNumberedName(name);
        if (numbers.id == 0 || !known.isOriginal({numbers.id, numbers.number}))
            visit(path);
    });
    forEachPersonImage([&](const KeptMedium& picture) {
        if (!known.isPersonImage(picture.id, picture.number))
            visit(picture.name);
    });
}

void FolderMedia::forEachUnknownThumbnail(const KnownMedia& known, const std::function<void(const std::string&)>& visit) const
{
    forEachFile(m_folder.thumbnails(), [&](const std::string& name, const std::string& path) {
        const Id content = contentOfThumbnail(name);
        if (content == 0 || !known.isContent(content))
            visit(path);
    });
}

void FolderMedia::removeUnknown(const KnownMedia& known) const { forEachUnknown(known, removeFile); }

void FolderMedia::sweep(const KnownMedia& known) const
{
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder.temporary()))
        removeFile(file.path().string());
    removeUnknown(known);
    forEachUnknownThumbnail(known, removeFile);
}

void FolderMedia::collect(const KnownMedia& known, Millis before) const
{
    if (!m_folder.isShared())
        return;
    std::size_t collected = 0;
    const auto removeOld = [&](const std::string& path) {
        if (isFromBefore(path, before)) {
            removeFile(path);
            ++collected;
        }
    };
    for (const fs::directory_entry& file : fs::directory_iterator(m_folder.temporary()))
        removeOld(file.path().string());
    forEachUnknown(known, removeOld);
    forEachUnknownThumbnail(known, removeOld);
    if (collected != 0)
        writeLog(Priority::NOTICE, "collected " + std::to_string(collected) + " files without a record");
}

} // namespace kinloomd
