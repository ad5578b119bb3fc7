// SPDX-License-Identifier: MIT
#include "store/Contents.h"

#include "store/Changes.h"
#include "store/Groups.h"
#include "store/Parts.h"
#include "store/People.h"

#include <algorithm>

namespace kinloomd {

namespace {

Content readContent(const Query& query)
{
    Content content;
    content.id = query.integer(0);
    content.group = query.integer(1);
    content.type = static_cast<ContentType>(query.integer(2));
    content.description = query.text(3);
    content.fileName = query.text(4);
    content.format = static_cast<Format>(query.integer(5));
    content.size = query.integer(6);
    content.width = query.integer(7);
    content.height = query.integer(8);
    content.created = query.integer(9);
    content.uploaded = query.integer(10);
    content.comments = query.integer(11);
    content.creator = readShortPerson(query, 12);
    return content;
}

/// Counts an upload in its group. \return its time; nothing when the group, or the slot, is gone.
std::optional<Millis> countUpload(DatabaseConnection& connection, const Slot& slot)
{
    Query query(connection, Sql::UPLOAD_COUNTED);
    query.bind(slot.group, static_cast<int>(slot.type), now(), slot.id);
    return query.step() ? std::optional<Millis>(query.integer(0)) : std::nullopt;
}

/// Gives a slot its file. \return whose content it is then; 0 when the slot is gone or filled.
Id fillSlot(DatabaseConnection& connection, Id slot, const UploadedFile& file, Millis uploaded)
{
    Query query(connection, Sql::CONTENT_COMMIT);
    query.bind(slot, file.fileName, static_cast<int>(file.format), file.size, file.width, file.height,
               file.taken.value_or(uploaded), uploaded, static_cast<int>(file.thumbnails), file.digest, file.device, file.attempt,
               file.taker.number, file.taker.until);
    return query.step() ? query.integer(0) : 0;
}

} // namespace

Sql feedStatement(FeedBase base, FeedDirection direction, ContentType type)
{
    const int first = static_cast<int>(Sql::FEED_BY_CREATION_BEFORE);
    return static_cast<Sql>(first + static_cast<int>(base) * 4 + (direction == FeedDirection::AFTER ? 2 : 0) +
                            (type == ContentType::ANY ? 0 : 1));
}

FeedEntry enterFeed(DatabaseConnection& connection, Id group, Id person, Id content, FeedBase base)
{
    FeedEntry entry;
    Query query(connection, Sql::FEED_ENTRY);
    query.bind(group, person, content);
    if (!query.step())
        return entry;
    entry.role = query.integer(0) != 0 ? Role::MASTER : Role::MEMBER;
    const int time = base == FeedBase::UPLOAD_TIME ? 2 : 1;
    if (!query.isNull(time))
        entry.marker = Marker{query.integer(time), content};
    return entry;
}

bool readFeed(DatabaseConnection& connection, FeedPage& page, const Taker<Content>& take)
{
    return readInParts(
        page.count,
        [&](std::int64_t count) {
            Query query(connection, feedStatement(page.base, page.direction, page.type));
            if (page.type == ContentType::ANY)
                query.bind(page.group, page.from.time, page.from.id, count);
            else
                query.bind(page.group, page.from.time, page.from.id, count, static_cast<int>(page.type));
            return takeRows(query, [&] {
                Content content = readContent(query);
                content.mediaEpoch = query.integer(15);
                page.from = {page.base == FeedBase::UPLOAD_TIME ? content.uploaded : content.created, content.id};
                --page.count;
                return take(content);
            });
        },
        page.rowsAtOnce);
}

std::optional<Content> findContent(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::CONTENT_BY_ID);
    query.bind(id);
    if (!query.step())
        return std::nullopt;
    Content content = readContent(query);
    content.creator = readPerson(query, 12);
    content.mediaEpoch = query.integer(17);
    return content;
}

std::optional<MediaInfo> findMedia(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::CONTENT_MEDIA);
    query.bind(id);
    if (!query.step())
        return std::nullopt;
    return MediaInfo{{id, query.integer(5)}, static_cast<Format>(query.integer(0)),    query.integer(1), query.integer(2),
                     query.integer(3),       static_cast<Thumbnails>(query.integer(4))};
}

Standing standingAtContent(DatabaseConnection& connection, Id content, Id person)
{
    Query query(connection, Sql::CONTENT_ROLE);
    query.bind(content, person);
    if (!query.step())
        return {};
    const Role role = query.integer(1) != 0 ? Role::MASTER : query.integer(2) != 0 ? Role::AUTHOR : Role::MEMBER;
    return {role, query.integer(0), content};
}

std::optional<Slot> findSlot(DatabaseConnection& connection, Id id, Id person)
{
    Query query(connection, Sql::SLOT_GET);
    query.bind(id, person);
    if (!query.step())
        return std::nullopt;
    Slot slot;
    slot.id = id;
    slot.filled = query.integer(0) != static_cast<int>(ContentState::RESERVED);
    slot.type = static_cast<ContentType>(query.integer(1));
    if (!query.isNull(2))
        slot.announcedSize = query.integer(2);
    slot.group = query.integer(3);
    slot.usedBytes = query.integer(4);
    return slot;
}

std::optional<Id> findTwin(DatabaseConnection& connection, Id group, const std::string& digest, const Twins& twins)
{
    if (twins.device == 0)
        return findByDigest(connection, group, digest);
    Query query(connection, Sql::CONTENT_SENT_BEFORE);
    query.bind(twins.device, group, digest, twins.since);
    return query.step() ? std::optional<Id>(query.integer(0)) : std::nullopt;
}

std::int64_t largestTwin(DatabaseConnection& connection, Id group, const Twins& twins)
{
    if (twins.device == 0)
        return 0;
    Query query(connection, Sql::CONTENT_LARGEST_SENT_BEFORE);
    return query.bind(twins.device, group, twins.since).step() && !query.isNull(0) ? query.integer(0) : 0;
}

std::optional<Id> findByDigest(DatabaseConnection& connection, Id group, const std::string& digest)
{
    Query query(connection, Sql::CONTENT_OF_DIGEST);
    query.bind(group, digest);
    return query.step() ? std::optional<Id>(query.integer(0)) : std::nullopt;
}

std::optional<Millis> newestBefore(DatabaseConnection& connection, Id group, Millis before)
{
    Query query(connection, Sql::CONTENT_NEWEST_BEFORE);
    query.bind(group, before);
    return query.step() ? std::optional<Millis>(query.integer(0)) : std::nullopt;
}

std::int64_t countBetween(DatabaseConnection& connection, Id group, Millis from, Millis before)
{
    Query query(connection, Sql::CONTENT_COUNT_BETWEEN);
    query.bind(group, from, before).step();
    return query.integer(0);
}

PagePlace enterPage(DatabaseConnection& connection, Id group, Id person, std::int64_t index)
{
    PagePlace entry;
    Query query(connection, Sql::PAGE_ENTRY);
    query.bind(group, person, index);
    if (!query.step())
        return entry;
    entry.role = query.integer(0) != 0 ? Role::MASTER : Role::MEMBER;
    entry.total = query.integer(1);
    if (!query.isNull(3))
        entry.place = Marker{query.integer(2), query.integer(3)};
    return entry;
}

std::int64_t indexOf(DatabaseConnection& connection, Id group, const Marker& content)
{
    Query query(connection, Sql::CONTENT_INDEX);
    query.bind(group, content.time, content.id).step();
    return query.integer(0);
}

std::vector<NamedFile> filesBetween(DatabaseConnection& connection, Id group, Millis from, Millis before)
{
    std::vector<NamedFile> files;
    Query query(connection, Sql::CONTENT_FILES_BETWEEN);
    query.bind(group, from, before);
    while (query.step())
        files.push_back({{query.integer(0), query.integer(1)}, query.text(2), query.integer(3), query.integer(4)});
    return files;
}

void noteAnswered(DatabaseConnection& connection, Id slot, const std::string& digest)
{
    Query(connection, Sql::SLOT_ANSWERED).bind(slot, digest).run();
}

void removeAnsweredSlots(DatabaseConnection& connection, Id person)
{
    Query(connection, Sql::SLOTS_ANSWERED_REMOVE).bind(person).run();
}

std::vector<PendingContent> listPendingContents(DatabaseConnection& connection)
{
    std::vector<PendingContent> contents;
    Query query(connection, Sql::CONTENTS_PENDING);
    while (query.step())
        contents.push_back({{query.integer(0), query.integer(1)}, query.integer(2)});
    return contents;
}

bool setThumbnails(DatabaseConnection& connection, Id content, Thumbnails thumbnails)
{
    return Query(connection, Sql::CONTENT_SET_THUMBNAILS).bind(content, static_cast<int>(thumbnails)).run() != 0;
}

std::optional<StoredFile> findFile(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::CONTENT_FILE);
    query.bind(id);
    if (!query.step())
        return std::nullopt;
    return StoredFile{{id, query.integer(2)}, static_cast<Format>(query.integer(0)), query.integer(1)};
}

std::vector<OriginalName> keptOriginals(DatabaseConnection& connection)
{
    std::vector<OriginalName> originals;
    Query query(connection, Sql::CONTENT_ORIGINALS);
    while (query.step())
        originals.push_back({query.integer(0), query.integer(1)});
    return originals;
}

bool haveContent(const std::vector<OriginalName>& originals, Id content)
{
    const auto found = std::lower_bound(originals.begin(), originals.end(), OriginalName{content, 0});
    return found != originals.end() && found->content == content;
}

std::vector<KeptOriginal> keptOriginalsBehind(DatabaseConnection& connection, Id content, int count)
{
    std::vector<KeptOriginal> originals;
    Query query(connection, Sql::CONTENT_KEPT_BEHIND);
    query.bind(content, count);
    while (query.step())
        originals.push_back({{query.integer(0), query.integer(1)}, query.integer(2), query.text(3)});
    return originals;
}

bool readEvents(DatabaseConnection& connection, EventPage& page, const Taker<Event>& take)
{
    return readInParts(ALL_ROWS, [&](std::int64_t count) {
        Query query(connection, Sql::EVENTS_OF_CONTENT);
        query.bind(page.content, page.after, count);
        return takeRows(query, [&] {
            Event event;
            event.id = query.integer(0);
            event.title = query.text(1);
            event.type = query.text(2);
            event.description = query.text(3);
            event.starts = query.integer(4);
            event.ends = query.integer(5);
            event.created = query.integer(6);
            event.member = readPerson(query, 7);
            page.after = event.id;
            return take(event);
        });
    });
}

std::int64_t countSlots(DatabaseConnection& connection, Id person)
{
    Query query(connection, Sql::SLOTS_OF_PERSON);
    query.bind(person).step();
    return query.integer(0);
}

std::int64_t usedBytes(DatabaseConnection& connection, Id person)
{
    Query query(connection, Sql::PERSON_USED_BYTES);
    query.bind(person);
    return query.step() ? query.integer(0) : 0;
}

Id addSlot(DatabaseConnection& connection, Id group, Id creator, ContentType type, std::optional<std::int64_t> announcedSize,
           const std::string& description)
{
    const Id id = addEntity(connection, EntityKind::CONTENT);
    Query query(connection, Sql::SLOT_ADD);
    if (announcedSize)
        query.bind(id, group, creator, static_cast<int>(type), now(), *announcedSize, description);
    else
        query.bind(id, group, creator, static_cast<int>(type), now(), nullptr, description);
    query.run();
    return id;
}

void expireSlots(DatabaseConnection& connection, Millis before) { Query(connection, Sql::SLOTS_EXPIRE).bind(before).run(); }

void dropSlot(DatabaseConnection& connection, Id slot) { Query(connection, Sql::SLOT_DROP).bind(slot).run(); }

bool commitUpload(DatabaseConnection& connection, const Slot& slot, const UploadedFile& file)
{
    const auto uploaded = countUpload(connection, slot);
    if (!uploaded)
        return false;
    const Id creator = fillSlot(connection, slot.id, file, *uploaded);
    // Another change has filled it while this one waited for the group, which knows nothing of that yet.
    if (creator == 0)
        throw TransactionUndone("the place for an upload was filled meanwhile");
    countBytes(connection, creator, file.size);
    noteUse(connection, slot.group, *uploaded);
    addChange(connection, {0, ChangeKind::CONTENT, slot.group, slot.id, 0});
    return true;
}

std::optional<Content> commitUploadAtOnce(DatabaseConnection& connection, const Slot& slot, const UploadedFile& file,
                                          const Person& creator, const Twins& twins, std::int64_t quota)
{
    if (!connection.writesToManyTables())
        return std::nullopt;
    Query query(connection, Sql::UPLOAD_WRITE);
    query.bind(slot.id, creator.id, file.fileName, static_cast<int>(file.format), file.size, file.width, file.height, file.taken,
               static_cast<int>(file.thumbnails), file.digest, file.device, file.attempt, file.taker.number, now(), quota,
               twins.device, twins.since, file.taker.until, static_cast<int>(ChangeKind::CONTENT));
    if (!query.step())
        return std::nullopt;
    Content content;
    content.id = slot.id;
    content.group = slot.group;
    content.type = slot.type;
    content.description = query.text(0);
    content.fileName = file.fileName;
    content.format = file.format;
    content.size = file.size;
    content.width = file.width;
    content.height = file.height;
    content.uploaded = query.integer(1);
    content.created = query.integer(2);
    content.creator = creator;
    content.mediaEpoch = query.integer(3);
    return content;
}

void countBytes(DatabaseConnection& connection, Id person, std::int64_t step)
{
    Query(connection, Sql::PERSON_USES_BYTES).bind(person, step).run();
}

void countContent(DatabaseConnection& connection, Id group, ContentType type, std::int64_t comments, int step)
{
    Query(connection, Sql::CONTENT_COUNTED).bind(group, static_cast<int>(type), comments, step).run();
}

Id addEvent(DatabaseConnection& connection, Id content, const Event& event)
{
    const Id id = addEntity(connection, EntityKind::EVENT);
    Query(connection, Sql::EVENT_ADD)
        .bind(id, content, event.member.id, event.title, event.type, event.description, event.starts, event.ends, now())
        .run();
    return id;
}

} // namespace kinloomd
