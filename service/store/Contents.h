// SPDX-License-Identifier: MIT
/// \file Contents, from the slot of an upload to their end, and the events linked to them.
#ifndef KINLOOMD_STORE_CONTENTS_H
#define KINLOOMD_STORE_CONTENTS_H

#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

/// A content that is announced and has no file yet.
struct Slot {
    Id id = 0;
    Id group = 0;
    bool filled = false;
    ContentType type = ContentType::PHOTO;
    std::optional<std::int64_t> announcedSize;
};

/// What an upload has brought.
struct UploadedFile {
    std::string fileName;
    Format format = Format::NONE;
    std::int64_t size = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::optional<Millis> taken;
};

enum class FeedBase : int { CREATED_TIME = 0, UPLOAD_TIME = 1, CONTENT_ID = 2 };
enum class FeedDirection : int {
    BEFORE, ///< older than the marker, newest first
    AFTER,  ///< newer than the marker, oldest first
};

/// A place between two contents of a feed: contents are ordered by time and then by identifier, or by identifier alone.
struct Marker {
    Millis time = 0;
    Id id = 0;
};

/// The place of a content of the group, deleted ones included; nothing for any other.
std::optional<Marker> markerOf(DatabaseConnection& connection, Id group, Id content, FeedBase base);

/// A page of a group's feed.
std::vector<Content> listFeed(DatabaseConnection& connection, Id group, FeedBase base, FeedDirection direction, ContentType type,
                              const Marker& marker, std::int64_t count);

/// The statement that a page of a feed is read with.
Sql feedStatement(FeedBase base, FeedDirection direction, ContentType type);

std::optional<Content> findContent(DatabaseConnection& connection, Id id);
/// What a media address needs to know of a content.
struct MediaInfo {
    Format format = Format::NONE;
    std::int64_t size = 0;
    std::int64_t mediaEpoch = 0;
};
std::optional<MediaInfo> findMedia(DatabaseConnection& connection, Id id);
Standing standingAtContent(DatabaseConnection& connection, Id content, Id person);
/// The slot with that identifier, when that person has reserved it and is still a member of its group.
std::optional<Slot> findSlot(DatabaseConnection& connection, Id id, Id person);
/// The identifiers of all contents, in rising order.
std::vector<Id> liveContentIds(DatabaseConnection& connection);
std::vector<Event> listEvents(DatabaseConnection& connection, Id content);

// Within a transaction:

Id addSlot(DatabaseConnection& connection, Id group, Id creator, ContentType type, std::optional<std::int64_t> announcedSize,
           const std::string& description);
/// Removes the slots that were reserved before that time and never filled.
void expireSlots(DatabaseConnection& connection, Millis before);
/// Turns a slot into a content of its group, and counts it. \return false when the slot is gone or filled.
bool commitUpload(DatabaseConnection& connection, const Slot& slot, const UploadedFile& file);
/// \return false when there is no such content.
bool deleteContent(DatabaseConnection& connection, Id id);
Id addEvent(DatabaseConnection& connection, Id content, const Event& event);

} // namespace kinloomd

#endif
