// SPDX-License-Identifier: MIT
/// \file What the database keeps, as it is read.
#ifndef KINLOOMD_STORE_RECORDS_H
#define KINLOOMD_STORE_RECORDS_H

#include "core/Dates.h"
#include "pictures/Formats.h" // IWYU pragma: export

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kinloomd {

/// Identifier of a person, group, content, comment or event; one sequence for all of them. 0 is nobody and nothing.
using Id = std::int64_t;

/// Takes the records of a list one by one. \return whether it takes more.
template <typename Record> using Taker = std::function<bool(const Record&)>;

enum class EntityKind : int { NONE = 0, PERSON = 1, GROUP = 2, CONTENT = 3, COMMENT = 4, EVENT = 5 };

enum class ContentType : int { ANY = 0, PHOTO = 1, VIDEO = 2, MUSIC = 3 };

/// Where a content is in its life.
enum class ContentState : int {
    RESERVED = 0, ///< announced, without a file: the slot of an upload
    STORED = 1,
    DELETED = 2, ///< without its file and its text; pages of a feed can still begin after it
    TRASHED = 3, ///< whole, and shown to nobody
};

/// What can be in the trash.
enum class TrashKind : int { PERSON = 1, GROUP = 2, CONTENT = 3, COMMENT = 4, DEVICE = 5 };

using pictures::Format;

/// Whether a content has thumbnails.
enum class Thumbnails : int {
    PENDING = 0, ///< they are still to be made
    MADE = 1,    ///< they were made, and can be made again should they be lost
    NONE = 2,    ///< none can be made: the file turned out to be undecodable
};

/// What an original is kept as. Several services may take uploads for one content at the same time. Each upload is an attempt with
/// a number of its own, so that none touches the bytes of another, and the record tells which of them has filled the content.
struct OriginalName {
    Id content = 0;
    std::int64_t attempt = 0; ///< 0 where only one service takes uploads

    friend bool operator==(const OriginalName& a, const OriginalName& b)
    {
        return a.content == b.content && a.attempt == b.attempt;
    }
    friend bool operator<(const OriginalName& a, const OriginalName& b)
    {
        return a.content != b.content ? a.content < b.content : a.attempt < b.attempt;
    }
};

/// What a person is to a thing, from little to much.
enum class Role : int {
    STRANGER, ///< not in its group
    MEMBER,   ///< in its group
    AUTHOR,   ///< in its group, and has made it
    MASTER,   ///< owns its group
};

struct Person {
    Id id = 0;
    std::string name;
    std::int64_t image = 0; ///< counts the person's pictures; 0 is none
    std::string phone;
    Millis created = 0;
};

struct Device {
    Id id = 0;
    std::string appId;
    std::string tokenHash; ///< SHA-256 of the token, in hexadecimal digits
    std::optional<Millis> signedIn;
    bool registered = false;
    Person person;
};

struct Group {
    Id id = 0;
    std::string name;
    std::string description;
    Millis created = 0;
    std::int64_t total = 0;
    std::int64_t photos = 0;
    std::int64_t audios = 0;
    std::int64_t videos = 0;
    std::int64_t comments = 0;
    std::int64_t mediaEpoch = 0; ///< part of the key in the group's media addresses
    Person master;
    Id cover = 0; ///< the latest photo, or 0
};

struct Content {
    Id id = 0;
    Id group = 0;
    ContentType type = ContentType::ANY;
    std::string description;
    std::string fileName;
    Format format = Format::NONE;
    std::int64_t size = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    Millis created = 0;  ///< when the picture was taken, as far as it tells, else when it was uploaded
    Millis uploaded = 0; ///< strictly rising within a group
    std::int64_t comments = 0;
    Person creator;
    std::int64_t mediaEpoch = 0;
};

struct Comment {
    Id id = 0;
    Id content = 0;
    std::string text;
    Millis created = 0;
    Person author;
};

struct Event {
    Id id = 0;
    std::string title;
    std::string type;
    std::string description;
    Millis starts = 0;
    Millis ends = 0;
    Millis created = 0;
    Person member;
};

/// What a person is to a content or comment, and where that is.
struct Standing {
    Role role = Role::STRANGER;
    Id group = 0;
    Id content = 0;
};

} // namespace kinloomd

#endif
