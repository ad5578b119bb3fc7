// SPDX-License-Identifier: MIT
#include "media/ObjectMedia.h"

#include "core/Digest.h"
#include "core/Log.h"
#include "media/MediumNames.h"
#include "media/ObjectDraft.h"

#include <algorithm>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <utility>

namespace kinloomd {

namespace {

namespace fs = std::filesystem;

constexpr Id SPREAD = 256;                ///< keys of contents have this many beginnings, as files have folders
constexpr std::size_t BLOCK = 256 * 1024; ///< in which an original is fetched
constexpr const char* JPEG_TYPE = "image/jpeg";
constexpr const char* ANY_TYPE = "application/octet-stream"; ///< what an original is, its record knows
constexpr const char* ORIGINALS = "media/";
constexpr const char* THUMBNAILS = "thumbnails/";
constexpr const char* PEOPLE = "people/";

/// What stands behind the last slash of a key, which the name borrows.
std::string_view nameIn(std::string_view key) { return key.substr(key.rfind('/') + 1); }

std::string spread(Id content) { return toHex(std::string(1, static_cast<char>(content % SPREAD))) + "/"; }

class ObjectBytes : public MediumReader {
public:
    explicit ObjectBytes(std::unique_ptr<objects::ObjectReader> reader) : m_reader(std::move(reader)) {}
    std::size_t read(char* buffer, std::size_t size) override { return m_reader->read(buffer, size); }

private:
    std::unique_ptr<objects::ObjectReader> m_reader;
};

/// A medium in a bucket. One whose size is known is asked for when it is read; another one is read from the beginning, which tells
/// its size.
class ObjectMedium : public StoredMedium {
public:
    ObjectMedium(const ObjectMedia& media, std::string key, std::int64_t size) : m_media(media), m_key(std::move(key)), m_size(size)
    {
    }
    /// Throws objects::ObjectNotFound.
    ObjectMedium(const ObjectMedia& media, std::string key)
        : m_media(media), m_key(std::move(key)), m_whole(media.store().get(m_key)), m_size(m_whole->info().size)
    {
    }

    std::int64_t size() const override { return m_size; }
    std::unique_ptr<MediumReader> read(std::int64_t offset, std::int64_t length) override
    {
        const bool whole = offset == 0 && length == m_size;
        if (whole && m_whole)
            return std::make_unique<ObjectBytes>(std::move(m_whole));
        m_whole.reset();
        try {
            return std::make_unique<ObjectBytes>(m_media.store().get(m_key, objects::ObjectRange{offset, length}));
        } catch (const objects::ObjectNotFound&) {
            return nullptr;
        }
    }
    std::string addressFor(std::chrono::seconds life, const char* mimeType) const override
    {
        return m_media.addressOf(m_key, life, mimeType);
    }

private:
    const ObjectMedia& m_media;
    std::string m_key;
    std::unique_ptr<objects::ObjectReader> m_whole;
    std::int64_t m_size;
};

/// Nothing for an object that is not there.
std::optional<std::int64_t> sizeOfObject(objects::ObjectStore& store, const std::string& key)
{
    try {
        return store.head(key).size;
    } catch (const objects::ObjectNotFound&) {
        return std::nullopt;
    }
}

bool isThere(objects::ObjectStore& store, const std::string& key) { return sizeOfObject(store, key).has_value(); }

/// A file of this computer without a name.
UniqueFd namelessFile(const std::string& folder)
{
    UniqueFd file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (!file)
        throwSystemError("make a file in", folder);
    return file;
}

} // namespace

ObjectMedia::ObjectMedia(std::unique_ptr<objects::ObjectStore> store, std::string prefix, objects::Endpoint publicEndpoint,
                         std::string temporary)
    : m_store(std::move(store)),
      m_prefix(std::move(prefix)),
      m_publicEndpoint(std::move(publicEndpoint)),
      m_temporary(std::move(temporary))
{
}

std::string ObjectMedia::originalKey(const OriginalName& original) const
{
    return m_prefix + ORIGINALS + spread(original.content) + fileNameOf(original);
}

std::string ObjectMedia::thumbnailKey(Id content, const ThumbnailSize& size) const
{
    return m_prefix + THUMBNAILS + spread(content) + std::to_string(content) + "-" + size.name;
}

std::string ObjectMedia::personImageKey(Id person, std::int64_t image) const
{
    return m_prefix + PEOPLE + std::to_string(person) + "-" + std::to_string(image);
}

std::string ObjectMedia::addressOf(const std::string& key, std::chrono::seconds life, const char* mimeType) const
{
    return m_store->presignedAddress(m_publicEndpoint, key, life, {{"response-content-type", mimeType}});
}

std::unique_ptr<StoredMedium> ObjectMedia::open(const std::string& key) const
{
    try {
        return std::make_unique<ObjectMedium>(*this, key);
    } catch (const objects::ObjectNotFound&) {
        return nullptr;
    }
}

std::unique_ptr<StoredMedium> ObjectMedia::openOriginal(const OriginalName& original, std::int64_t size) const
{
    return std::make_unique<ObjectMedium>(*this, originalKey(original), size);
}

std::unique_ptr<StoredMedium> ObjectMedia::openThumbnail(Id content, const ThumbnailSize& size) const
{
    return open(thumbnailKey(content, size));
}

std::unique_ptr<StoredMedium> ObjectMedia::openPersonImage(Id person, std::int64_t image) const
{
    return open(personImageKey(person, image));
}

std::optional<std::int64_t> ObjectMedia::originalSize(const OriginalName& original) const
{
    return sizeOfObject(*m_store, originalKey(original));
}

bool ObjectMedia::hasPersonImage(Id person, std::int64_t image) const { return isThere(*m_store, personImageKey(person, image)); }

bool ObjectMedia::hasThumbnails(Id content) const
{
    return std::all_of(std::begin(THUMBNAIL_SIZES), std::end(THUMBNAIL_SIZES),
                       [&](const ThumbnailSize& size) { return isThere(*m_store, thumbnailKey(content, size)); });
}

UniqueFd ObjectMedia::originalFile(const OriginalName& original) const
{
    std::unique_ptr<objects::ObjectReader> reader;
    try {
        reader = m_store->get(originalKey(original));
    } catch (const objects::ObjectNotFound&) {
        return {};
    }
    UniqueFd file = namelessFile(m_temporary);
    std::string block(BLOCK, '\0');
    while (const std::size_t count = reader->read(block.data(), block.size()))
        writeAll(file.get(), std::string_view(block.data(), count), m_temporary);
    return file;
}

OriginalName ObjectMedia::newName(Id content) const { return newOriginalName(content); }

std::unique_ptr<MediaDraft> ObjectMedia::newOriginal(const OriginalName& original) const
{
    return std::make_unique<ObjectDraft>(*m_store, originalKey(original), ANY_TYPE, m_temporary);
}

void ObjectMedia::keepOriginal(TemporaryFile& file, const OriginalName& original) const
{
    const auto draft = newOriginal(original);
    const std::int64_t size = sizeOf(file.fd(), file.path());
    draft->expect(size);
    std::string block(BLOCK, '\0');
    for (std::int64_t done = 0; done < size;) {
        const std::size_t count = readAt(file.fd(), block.data(), block.size(), done, file.path());
        draft->write(std::string_view(block.data(), count));
        done += static_cast<std::int64_t>(count);
    }
    draft->keep();
}

void ObjectMedia::put(const TemporaryFile& file, const std::string& key) const
{
    m_store->put(key, objects::Payload(file.fd(), 0, sizeOf(file.fd(), file.path())), JPEG_TYPE);
}

void ObjectMedia::keepThumbnail(TemporaryFile& file, Id content, const ThumbnailSize& size) const
{
    put(file, thumbnailKey(content, size));
}

void ObjectMedia::keepPersonImage(TemporaryFile& file, Id person, std::int64_t image) const
{
    put(file, personImageKey(person, image));
}

/// A store that does not answer is not asked for the rest.
void ObjectMedia::remove(const std::vector<std::string>& keys) const noexcept
try {
    for (const std::string& key : keys)
        m_store->remove(key);
} catch (const std::exception& error) {
    writeLog(Priority::WARNING, keys.front() + " and what belongs to it are left to the collector: " + error.what());
}

std::vector<std::string> ObjectMedia::thumbnailKeys(Id content) const
{
    std::vector<std::string> keys;
    keys.reserve(THUMBNAIL_COUNT + 1);
    for (const ThumbnailSize& size : THUMBNAIL_SIZES)
        keys.push_back(thumbnailKey(content, size));
    return keys;
}

void ObjectMedia::removeThumbnails(Id content) const noexcept { remove(thumbnailKeys(content)); }

void ObjectMedia::removeOriginal(const OriginalName& original) const noexcept { remove({originalKey(original)}); }

void ObjectMedia::removeContent(const OriginalName& original) const noexcept
{
    std::vector<std::string> keys = thumbnailKeys(original.content);
    keys.insert(keys.begin(), originalKey(original));
    remove(keys);
}

void ObjectMedia::removePersonImage(Id person, std::int64_t image) const noexcept { remove({personImageKey(person, image)}); }

/// Goes through a folder of keys whose names are numbers.
void ObjectMedia::forEachKept(const std::string& folder,
                              const std::function<void(const KeptMedium&, const objects::ObjectEntry&)>& visit) const
{
    m_store->forEachObject(m_prefix + folder, [&](const objects::ObjectEntry& entry) {
        const NumberedName numbers = parseNumberedName(nameIn(entry.key));
        visit({numbers.id, numbers.number, entry.size, entry.key}, entry);
    });
}

void ObjectMedia::forEachOriginal(const std::function<void(const KeptMedium&)>& visit) const
{
    forEachKept(ORIGINALS, [&](const KeptMedium& medium, const objects::ObjectEntry&) { visit(medium); });
}

void ObjectMedia::forEachPersonImage(const std::function<void(const KeptMedium&)>& visit) const
{
    forEachKept(PEOPLE, [&](const KeptMedium& medium, const objects::ObjectEntry&) { visit(medium); });
}

void ObjectMedia::sweep(const KnownMedia&) const
{
    for (const fs::directory_entry& file : fs::directory_iterator(m_temporary))
        removeFile(file.path().string());
}

void ObjectMedia::collect(const KnownMedia& known, Millis before) const
{
    constexpr Millis SECOND = 1000;
    const auto isOld = [before](std::time_t time) { return time != 0 && Millis{time} * SECOND < before; };
    // Found first and removed then: a list must not change while it is read.
    std::vector<std::string> unknown;
    const auto note = [&](const objects::ObjectEntry& entry, bool isKnown) {
        if (!isKnown && isOld(entry.modified))
            unknown.push_back(entry.key);
    };
    forEachKept(ORIGINALS, [&](const KeptMedium& medium, const objects::ObjectEntry& entry) {
        note(entry, medium.id != 0 && known.isOriginal({medium.id, medium.number}));
    });
    m_store->forEachObject(m_prefix + THUMBNAILS, [&](const objects::ObjectEntry& entry) {
        const Id content = contentOfThumbnail(nameIn(entry.key));
        note(entry, content != 0 && known.isContent(content));
    });
    forEachKept(PEOPLE, [&](const KeptMedium& medium, const objects::ObjectEntry& entry) {
        note(entry, known.isPersonImage(medium.id, medium.number));
    });
    std::vector<objects::UnfinishedUpload> unfinished;
    m_store->forEachUpload(m_prefix + ORIGINALS, [&](const objects::UnfinishedUpload& upload) {
        if (isOld(upload.begun))
            unfinished.push_back(upload);
    });
    for (const std::string& key : unknown)
        m_store->remove(key);
    for (const objects::UnfinishedUpload& upload : unfinished)
        m_store->abortUpload(upload.key, upload.upload);
    if (!unknown.empty() || !unfinished.empty())
        writeLog(Priority::NOTICE, "collected " + std::to_string(unknown.size()) + " objects without a record and " +
                                       std::to_string(unfinished.size()) + " unfinished uploads");
}

} // namespace kinloomd
