// SPDX-License-Identifier: MIT
#include "store/Contents.h"

#include "store/Groups.h"
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

/// The time of the next upload to a group: the present, but later than all uploads before it even when the clock was set back, so
/// that a feed that is read by time never overlooks one.
Millis nextUploadTime(DatabaseConnection& connection, Id group)
{
    Query query(connection, Sql::CONTENT_LATEST_UPLOAD);
    query.bind(group);
    const Millis present = now();
    return query.step() ? std::max(present, query.integer(0) + 1) : present;
}

} // namespace

Sql feedStatement(FeedBase base, FeedDirection direction, ContentType type)
{
    const int first = static_cast<int>(Sql::FEED_BY_CREATION_BEFORE);
    return static_cast<Sql>(first + static_cast<int>(base) * 4 + (direction == FeedDirection::AFTER ? 2 : 0) +
                            (type == ContentType::ANY ? 0 : 1));
}

std::optional<Marker> markerOf(DatabaseConnection& connection, Id group, Id content, FeedBase base)
{
    Query query(connection, Sql::CONTENT_MARKER);
    query.bind(content, group);
    if (!query.step())
        return std::nullopt;
    return Marker{query.integer(base == FeedBase::UPLOAD_TIME ? 1 : 0), content};
}

std::vector<Content> listFeed(DatabaseConnection& connection, Id group, FeedBase base, FeedDirection direction, ContentType type,
                              const Marker& marker, std::int64_t count)
{
    Query query(connection, feedStatement(base, direction, type));
    if (type == ContentType::ANY)
        query.bind(group, marker.time, marker.id, count);
    else
        query.bind(group, marker.time, marker.id, count, static_cast<int>(type));
    std::vector<Content> contents;
    while (query.step())
        contents.push_back(readContent(query));
    return contents;
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
    return MediaInfo{static_cast<Format>(query.integer(0)), query.integer(1), query.integer(2)};
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
    return slot;
}

std::vector<Id> liveContentIds(DatabaseConnection& connection)
{
    std::vector<Id> ids;
    Query query(connection, Sql::CONTENT_LIVE_IDS);
    while (query.step())
        ids.push_back(query.integer(0));
    return ids;
}

std::vector<Event> listEvents(DatabaseConnection& connection, Id content)
{
    std::vector<Event> events;
    Query query(connection, Sql::EVENTS_OF_CONTENT);
    query.bind(content);
    while (query.step()) {
        Event event;
        event.id = query.integer(0);
        event.title = query.text(1);
        event.type = query.text(2);
        event.description = query.text(3);
        event.starts = query.integer(4);
        event.ends = query.integer(5);
        event.created = query.integer(6);
        event.member = readPerson(query, 7);
        events.push_back(std::move(event));
    }
    return events;
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

bool commitUpload(DatabaseConnection& connection, const Slot& slot, const UploadedFile& file)
{
    const Millis uploaded = nextUploadTime(connection, slot.group);
    const int changed = Query(connection, Sql::CONTENT_COMMIT)
                            .bind(slot.id, file.fileName, static_cast<int>(file.format), file.size, file.width, file.height,
                                  file.taken.value_or(uploaded), uploaded)
                            .run();
    if (changed == 0)
        return false;
    Query(connection, Sql::CONTENT_COUNTED).bind(slot.group, static_cast<int>(slot.type)).run();
    noteUse(connection, slot.group, uploaded);
    return true;
}

bool deleteContent(DatabaseConnection& connection, Id id)
{
    Id group = 0;
    int type = 0;
    {
        Query query(connection, Sql::CONTENT_DELETE);
        query.bind(id);
        if (!query.step())
            return false;
        group = query.integer(0);
        type = static_cast<int>(query.integer(1));
    }
    const int comments = Query(connection, Sql::COMMENTS_DELETE_OF_CONTENT).bind(id).run();
    Query(connection, Sql::EVENTS_DELETE_OF_CONTENT).bind(id).run();
    Query(connection, Sql::CONTENT_UNCOUNTED).bind(group, type, comments).run();
    return true;
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
