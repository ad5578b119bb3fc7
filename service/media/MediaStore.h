// SPDX-License-Identifier: MIT
/// \file Media: originals, thumbnails and pictures of people, wherever they are kept.
#ifndef KINLOOMD_MEDIA_MEDIASTORE_H
#define KINLOOMD_MEDIA_MEDIASTORE_H

#include "core/Dates.h"
#include "core/Files.h"
#include "media/TemporaryFile.h"  // IWYU pragma: export
#include "media/ThumbnailSizes.h" // IWYU pragma: export
#include "store/Records.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kinloomd {

/// Bytes of a medium, as fast as they are read. For one thread at a time.
class MediumReader {
public:
    MediumReader() = default;
    MediumReader(const MediumReader&) = delete;
    MediumReader& operator=(const MediumReader&) = delete;
    virtual ~MediumReader() = default;

    /// Waits for bytes. \return how many; 0 behind the last one. Throws what the store throws.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

/// A medium that is there. For one thread at a time; its store must outlive it.
class StoredMedium {
public:
    StoredMedium() = default;
    StoredMedium(const StoredMedium&) = delete;
    StoredMedium& operator=(const StoredMedium&) = delete;
    virtual ~StoredMedium() = default;

    virtual std::int64_t size() const = 0;
    /// The file that it lies in, to be had once; an empty descriptor where it lies in none on this computer.
    virtual UniqueFd takeFile() { return {}; }
    /// Begins to read a part of it, which the medium must outlive. Nothing when it is gone.
    virtual std::unique_ptr<MediumReader> read(std::int64_t offset, std::int64_t length) = 0;
    /// An address at which others can read it for so long; empty where there is none. \param mimeType as what they get it
    virtual std::string addressFor(std::chrono::seconds life, const char* mimeType) const = 0;
};

/// The original of a content on its way. Unless it was kept, it is gone at the end of its life. For one thread at a time.
class MediaDraft {
public:
    MediaDraft() = default;
    MediaDraft(const MediaDraft&) = delete;
    MediaDraft& operator=(const MediaDraft&) = delete;
    virtual ~MediaDraft() = default;

    /// Tells how large it is going to be, as far as anybody knows: what is kept in pieces can be kept in fewer. Before its first
    /// byte.
    virtual void expect(std::int64_t) {}
    /// Appends bytes.
    virtual void write(std::string_view bytes) = 0;
    /// A file to look at the bytes in, at the same places. Of a large original its middle may be zeros there.
    virtual int fd() const = 0;
    /// Puts it in its place. When this returns, it is there for good.
    virtual void keep() = 0;
};

/// A medium among all those that are kept.
struct KeptMedium {
    Id id = 0;               ///< the content's or the person's; 0 for what has no business there
    std::int64_t number = 0; ///< the attempt of an original, the number of a person's picture
    std::int64_t size = 0;   ///< in bytes
    std::string name;        ///< as a person knows it: a path or a key
};

/// Who is known: which media have records.
struct KnownMedia {
    std::function<bool(const OriginalName&)> isOriginal;
    std::function<bool(Id)> isContent; ///< whatever its original is called: thumbnails are the content's
    std::function<bool(Id, std::int64_t)> isPersonImage;
};

/// The media of a service. Safe for several threads, and for several services where originals are named by newName. Throws
/// std::system_error of files, and objects::ObjectError of a store.
class MediaStore {
public:
    MediaStore() = default;
    MediaStore(const MediaStore&) = delete;
    MediaStore& operator=(const MediaStore&) = delete;
    virtual ~MediaStore() = default;

    /// The folder of this computer for files on their way.
    virtual std::string temporary() const = 0;

    /// A medium; nothing when it is not there. \param size as its record tells it
    virtual std::unique_ptr<StoredMedium> openOriginal(const OriginalName& original, std::int64_t size) const = 0;
    virtual std::unique_ptr<StoredMedium> openThumbnail(Id content, const ThumbnailSize& size) const = 0;
    virtual std::unique_ptr<StoredMedium> openPersonImage(Id person, std::int64_t image) const = 0;
    /// How large an original is, asked of itself: a store's list may be behind its objects. Nothing when it is not there.
    virtual std::optional<std::int64_t> originalSize(const OriginalName& original) const = 0;
    bool hasOriginal(const OriginalName& original) const { return originalSize(original).has_value(); }
    virtual bool hasPersonImage(Id person, std::int64_t image) const = 0;
    /// \return whether all thumbnails of a content are there and hold something.
    virtual bool hasThumbnails(Id content) const = 0;
    /// The original as a file of this computer; an empty descriptor when it is not there. It may have been fetched for that.
    virtual UniqueFd originalFile(const OriginalName& original) const = 0;

    /// What an original that is to come is called.
    virtual OriginalName newName(Id content) const = 0;
    /// Begins an original, which comes piece by piece.
    virtual std::unique_ptr<MediaDraft> newOriginal(const OriginalName& original) const = 0;
    /// Puts a whole original in its place.
    virtual void keepOriginal(TemporaryFile& file, const OriginalName& original) const = 0;
    /// Gives a content the original of another one, which is there once in truth. \return false where that cannot be done.
    virtual bool linkOriginal(const OriginalName& from, const OriginalName& to) const = 0;
    /// Puts a finished thumbnail in its place.
    virtual void keepThumbnail(TemporaryFile& file, Id content, const ThumbnailSize& size) const = 0;
    virtual void keepPersonImage(TemporaryFile& file, Id person, std::int64_t image) const = 0;

    // What cannot be removed now, is swept up or collected later.
    virtual void removeThumbnails(Id content) const noexcept = 0;
    /// Removes one original. Others of the same content, and its thumbnails, stay.
    virtual void removeOriginal(const OriginalName& original) const noexcept = 0;
    /// Removes the original and its thumbnails.
    virtual void removeContent(const OriginalName& original) const noexcept = 0;
    virtual void removePersonImage(Id person, std::int64_t image) const noexcept = 0;

    virtual void forEachOriginal(const std::function<void(const KeptMedium&)>& visit) const = 0;
    virtual void forEachPersonImage(const std::function<void(const KeptMedium&)>& visit) const = 0;
    /// Removes what a service that was killed has left on this computer. Only while nobody adds media.
    virtual void sweep(const KnownMedia& known) const = 0;
    /// Removes media that nobody knows, where they may be on their way still: only those from before a time, which was long enough
    /// ago for their records to be there. May run beside everything else.
    virtual void collect(const KnownMedia& known, Millis before) const = 0;

    /// Makes what is missing before the first medium comes.
    virtual void prepare() const {}
    /// Asks whether media can be had right now, for a few seconds at most. Throws when they cannot.
    virtual void probe() const {}
    /// Ends what is waited for: the program is about to end.
    virtual void stop() {}
};

} // namespace kinloomd

#endif
