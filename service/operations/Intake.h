// SPDX-License-Identifier: MIT
/// \file The bytes of a photo on their way into a group.
#ifndef KINLOOMD_OPERATIONS_INTAKE_H
#define KINLOOMD_OPERATIONS_INTAKE_H

#include "core/Digest.h"
#include "media/MediaStore.h"
#include "operations/Request.h"
#include "store/Contents.h"

#include <functional>
#include <memory>
#include <string>

namespace kinloomd {

class Service;

/// What who sends to a slot is told that has its file.
inline constexpr const char* SENT_ALREADY = "The content has been sent already.";

/// Marks a slot as being sent to, as long as it lives.
class SlotUse {
public:
    /// Throws CONFLICT when someone sends to it already.
    SlotUse(Service& service, Id slot);
    SlotUse(const SlotUse&) = delete;
    SlotUse& operator=(const SlotUse&) = delete;
    ~SlotUse();

private:
    Service& m_service;
    Id m_slot;
};

/// Takes the file of one content, from a device or from the page. It is a draft until it is whole and its header has proved to be a
/// picture's; then it takes its place, and only then its record appears. Whatever fails before leaves neither. Thumbnails follow.
///
/// A client that did not see the reply sends the file again: bytes that are known are answered with the content that they are.
class Intake {
public:
    /// Knows the contents that bytes which come may be already.
    struct Twins {
        /// The content that a file is already.
        std::function<std::optional<Id>(DatabaseConnection& connection, const UploadedFile& file)> find;
        /// The size of the largest of these contents.
        std::function<std::int64_t(DatabaseConnection& connection)> largest;
    };

    Intake(Service& service, const Caller& caller, const Slot& slot, Twins twins);

    /// Takes the next bytes. Throws ServiceError beyond the limits.
    void take(std::string_view bytes);
    std::int64_t size() const { return m_uploaded.size; }

    /// The bytes are whole: finds out what they are. \param announced the format that they are said to be of; NONE takes what they
    /// show. \param fallback when the picture was taken, where it does not tell.
    void examine(Format announced, const std::string& fileName, std::optional<Millis> fallback);
    /// Of the examined bytes, in hexadecimal digits.
    const std::string& digest() const { return m_uploaded.digest; }

    /// The content that the bytes are already.
    std::optional<Content> twin() const;
    /// Makes the content appear. When this returns, it is there for good. \return it, or the one that the same bytes, sent at the
    /// same time, have become just now.
    Content keep();

private:
    void requirePlace(std::int64_t size);
    Content keepFileAndRecord();
    Content record(DatabaseConnection& connection) const;
    std::optional<Content> findContentOf(DatabaseConnection& connection) const;

    Service& m_service;
    Caller m_caller;
    Slot m_slot;
    Twins m_twins;
    std::optional<std::int64_t> m_largestTwin;
    OriginalName m_original;
    std::unique_ptr<MediaDraft> m_draft;
    Sha256 m_digest;
    UploadedFile m_uploaded;
};

} // namespace kinloomd

#endif
