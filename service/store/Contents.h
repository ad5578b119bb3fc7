// SPDX-License-Identifier: MIT
/// \file Contents, from the slot of an upload to their end, and the events linked to them.
#ifndef KINLOOMD_STORE_CONTENTS_H
#define KINLOOMD_STORE_CONTENTS_H

#include "store/Database.h"
#include "store/Parts.h"
#include "store/Records.h"

#include <limits>

namespace kinloomd {

/// A content that is announced and has no file yet.
struct Slot {
    Id id = 0;
    Id group = 0;
    bool filled = false;
    ContentType type = ContentType::PHOTO;
    std::optional<std::int64_t> announcedSize;
    std::int64_t usedBytes = 0; ///< what the contents of the person who reserved it take
};

/// Which service makes thumbnails (ThumbnailQueue.h).
struct ThumbnailTaker {
    std::int64_t number = 0; ///< made up by chance; 0 for none
    Millis until = 0;        ///< when others may take that up
};

/// What an upload has brought.
struct UploadedFile {
    std::string fileName;
    Format format = Format::NONE;
    std::int64_t size = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::optional<Millis> taken;
    Thumbnails thumbnails = Thumbnails::PENDING;
    std::string digest = {};       ///< SHA-256 of its bytes, in hexadecimal digits; empty when the upload need not be known again
    std::optional<Id> device = {}; ///< that sent it
    std::int64_t attempt = 0;      ///< under which its original is kept
    ThumbnailTaker taker = {};     ///< of pending thumbnails
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

/// The ends of every feed.
inline constexpr Marker BEHIND_NEWEST = {std::numeric_limits<Millis>::max(), std::numeric_limits<Id>::max()};
inline constexpr Marker BEFORE_OLDEST = {std::numeric_limits<Millis>::min(), 0};

/// Who reads a feed, and from where.
struct FeedEntry {
    Role role = Role::STRANGER;
    std::optional<Marker> marker; ///< the place of the content, deleted ones included; nothing for one that is not of the group
};
FeedEntry enterFeed(DatabaseConnection& connection, Id group, Id person, Id content, FeedBase base);

/// A page of a group's feed, or what is left of it.
struct FeedPage {
    Id group = 0;
    FeedBase base = FeedBase::CREATED_TIME;
    FeedDirection direction = FeedDirection::BEFORE;
    ContentType type = ContentType::ANY;
    Marker from;
    std::int64_t count = 0; ///< contents at most
    std::int64_t rowsAtOnce = ROWS_AT_ONCE;
};

/// Reads on in a page, and moves it past each content that is taken, so that contents which come or go between two calls neither
/// double nor hide others. \return whether nothing is left of the page.
bool readFeed(DatabaseConnection& connection, FeedPage& page, const Taker<Content>& take);

/// The statement that a page of a feed is read with.
Sql feedStatement(FeedBase base, FeedDirection direction, ContentType type);

std::optional<Content> findContent(DatabaseConnection& connection, Id id);
/// What a media address needs to know of a content.
struct MediaInfo {
    OriginalName original;
    Format format = Format::NONE;
    std::int64_t size = 0;
    std::int64_t mediaEpoch = 0;
    Id creator = 0;
    Thumbnails thumbnails = Thumbnails::PENDING;
};
std::optional<MediaInfo> findMedia(DatabaseConnection& connection, Id id);
Standing standingAtContent(DatabaseConnection& connection, Id content, Id person);
/// The slot with that identifier, when that person has reserved it and is still a member of its group.
std::optional<Slot> findSlot(DatabaseConnection& connection, Id id, Id person);
/// Which contents of a group bytes that come may be already.
struct Twins {
    Id device = 0;    ///< that has sent them; 0 for any
    Millis since = 0; ///< a device has sent them since that time
};
/// The content that these bytes are already.
std::optional<Id> findTwin(DatabaseConnection& connection, Id group, const std::string& digest, const Twins& twins);
/// The size of the largest content that the device sent to the group since that time; 0 when there is none, and for any device: its
/// contents are asked for before they are sent.
std::int64_t largestTwin(DatabaseConnection& connection, Id group, const Twins& twins);
/// The oldest content of a group that holds these bytes.
std::optional<Id> findByDigest(DatabaseConnection& connection, Id group, const std::string& digest);

// A group's contents by the time at which they were made, the newest first: places in that order count from 0.

/// The time of the newest content made before a time.
std::optional<Millis> newestBefore(DatabaseConnection& connection, Id group, Millis before);
/// How many contents were made from one time on and before another one.
std::int64_t countBetween(DatabaseConnection& connection, Id group, Millis from, Millis before);
/// Who looks at a group, how much is in it, and which content is at a place.
struct PagePlace {
    Role role = Role::STRANGER;
    std::int64_t total = 0;
    std::optional<Marker> place;
};
PagePlace enterPage(DatabaseConnection& connection, Id group, Id person, std::int64_t index);
/// The place of a content.
std::int64_t indexOf(DatabaseConnection& connection, Id group, const Marker& content);
/// The file of a content, for those who fetch many.
struct NamedFile {
    OriginalName original;
    std::string name;
    std::int64_t size = 0;
    Millis created = 0;
};
/// The files of the contents made from one time on and before another one, the oldest first.
std::vector<NamedFile> filesBetween(DatabaseConnection& connection, Id group, Millis from, Millis before);

/// Notes that what was sent to a slot is a content already. Within a transaction.
void noteAnswered(DatabaseConnection& connection, Id slot, const std::string& digest);
/// Removes the slots of a person that are of no use any more since what was sent to them is a content already. Within a
/// transaction.
void removeAnsweredSlots(DatabaseConnection& connection, Id person);
/// A content that waits for its thumbnails, and whose it is.
struct PendingContent {
    OriginalName original;
    Id creator = 0;
};
std::vector<PendingContent> listPendingContents(DatabaseConnection& connection);
/// Notes whether a content has thumbnails. \return false when there is no such content.
bool setThumbnails(DatabaseConnection& connection, Id content, Thumbnails thumbnails);
/// The file of a content, also of one in the trash.
struct StoredFile {
    OriginalName original;
    Format format = Format::NONE;
    std::int64_t size = 0;
};
std::optional<StoredFile> findFile(DatabaseConnection& connection, Id id);
/// The originals of all contents, those in the trash too, in rising order: one of each.
std::vector<OriginalName> keptOriginals(DatabaseConnection& connection);
/// \return whether one of these, which are in rising order, is that content's.
bool haveContent(const std::vector<OriginalName>& originals, Id content);

/// An original as its record knows it.
struct KeptOriginal {
    OriginalName name;
    std::int64_t size = 0;
    std::string digest; ///< SHA-256 of its bytes, in hexadecimal digits; empty when nobody knows it
};
/// The originals of contents behind one of them, those in the trash too, in rising order: so many at most.
std::vector<KeptOriginal> keptOriginalsBehind(DatabaseConnection& connection, Id content, int count);

/// The events of a content behind one of them; 0 is before all.
struct EventPage {
    Id content = 0;
    Id after = 0;
};
/// Reads on in a page like \c readFeed.
bool readEvents(DatabaseConnection& connection, EventPage& page, const Taker<Event>& take);

/// How many places for uploads a person has reserved and not filled.
std::int64_t countSlots(DatabaseConnection& connection, Id person);
/// What the files of a person's contents take together, those in the trash too, in bytes.
std::int64_t usedBytes(DatabaseConnection& connection, Id person);

// Within a transaction:

Id addSlot(DatabaseConnection& connection, Id group, Id creator, ContentType type, std::optional<std::int64_t> announcedSize,
           const std::string& description);
/// Removes the slots that were reserved before that time and never filled.
void expireSlots(DatabaseConnection& connection, Millis before);
/// Removes a slot that is not filled.
void dropSlot(DatabaseConnection& connection, Id slot);
/// Turns a slot into a content of its group, and counts it. Throws TransactionUndone when another change does so at the same time.
/// \return false when the slot is gone or filled, or the group in the
/// trash.
bool commitUpload(DatabaseConnection& connection, const Slot& slot, const UploadedFile& file);
/// Does all that commitUpload does where one statement can, for bytes that are no content yet and have room.
/// \param quota of its creator, in bytes; 0 for none
/// \return the content; nothing when that cannot be done, for whatever reason
std::optional<Content> commitUploadAtOnce(DatabaseConnection& connection, const Slot& slot, const UploadedFile& file,
                                          const Person& creator, const Twins& twins, std::int64_t quota);
/// Adds to the bytes that the files of a person's contents take together, or, with less than 0, takes some away.
void countBytes(DatabaseConnection& connection, Id person, std::int64_t step);
/// Adds a content with its comments to the totals of its group, or, with -1, takes it away.
void countContent(DatabaseConnection& connection, Id group, ContentType type, std::int64_t comments, int step);
Id addEvent(DatabaseConnection& connection, Id content, const Event& event);

} // namespace kinloomd

#endif
