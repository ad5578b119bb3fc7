// SPDX-License-Identifier: MIT
/// \file The bytes of a photo on their way into a group.
#ifndef KINLOOMD_OPERATIONS_INTAKE_H
#define KINLOOMD_OPERATIONS_INTAKE_H

#include "core/Digest.h"
#include "media/MediaStore.h"
#include "operations/Request.h"
#include "store/Contents.h"

#include <chrono>
#include <memory>
#include <string>

namespace kinloomd {

class Service;

/// What who sends to a slot is told that has its file.
inline constexpr const char* SENT_ALREADY = "The content has been sent already.";

/// Marks a slot as being sent to by a person, as long as it lives. Of others, who may not do so, it takes no notice.
class SlotUse {
public:
    SlotUse(Service& service, Id slot, Id person);
    SlotUse(const SlotUse&) = delete;
    SlotUse& operator=(const SlotUse&) = delete;
    ~SlotUse();

    /// Throws CONFLICT when the person sends to the slot already.
    void requireAlone() const;

private:
    Service& m_service;
    Id m_slot;
    Id m_person;
    bool m_alone;
};

/// Takes the file of one content, from a device or from the page. It is a draft until it is whole and its header has proved to be a
/// picture's; then it takes its place, and only then its record appears. Whatever fails before leaves neither. Thumbnails follow.
///
/// A client that did not see the reply sends the file again: bytes that are known are answered with the content that they are.
class Intake {
public:
    /// Which contents bytes that come may be already.
    struct Same {
        Id device = 0;                       ///< those that it has sent; 0 for those of anybody
        std::chrono::milliseconds lately{0}; ///< within that time
    };

    Intake(Service& service, const Caller& caller, const Slot& slot, const Same& same);

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
    /// Makes the content appear, unless the bytes are one already. When this returns, it is there for good. \return whichever it is
    Content keep();

private:
    /// What the bytes are now.
    struct Kept {
        Content content;
        bool thisAttempt; ///< made of this attempt's file; otherwise they were there already, perhaps in this very place
    };

    void requirePlace(std::int64_t size);
    Kept keepFileAndRecord();
    Kept record(DatabaseConnection& connection) const;
    std::optional<Content> findContentOf(DatabaseConnection& connection) const;
    Twins twinsNow() const;

    Service& m_service;
    Caller m_caller;
    Slot m_slot;
    Same m_same;
    std::optional<std::int64_t> m_largestTwin;
    OriginalName m_original;
    std::unique_ptr<MediaDraft> m_draft;
    Sha256 m_digest;
    UploadedFile m_uploaded;
};

} // namespace kinloomd

#endif
