// SPDX-License-Identifier: MIT
#include "store/Trash.h"

#include "store/Changes.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/Locks.h"
#include "store/People.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>

namespace kinloomd {

namespace {

// Of a group or a content; others wait for the database meanwhile.
constexpr int CONTENTS_AT_ONCE = 500;
constexpr int COMMENTS_AT_ONCE = 5000;

// The marks of groups, people, comments and devices.
constexpr int LIVE = 0;
constexpr int TRASHED = 1;
constexpr int GOING = 2; ///< of a group: some of it is gone for good

TrashEntry readEntry(const Query& query)
{
    TrashEntry entry;
    entry.id = query.integer(0);
    entry.kind = static_cast<TrashKind>(query.integer(1));
    entry.thing = query.integer(2);
    entry.group = query.integer(3);
    entry.content = query.integer(4);
    entry.at = query.integer(5);
    entry.byId = query.integer(6);
    entry.by = query.text(7);
    switch (entry.kind) {
    case TrashKind::GROUP:
        entry.name = query.text(8);
        break;
    case TrashKind::CONTENT:
        entry.name = query.text(9).empty() ? query.text(10) : query.text(9);
        entry.place = query.text(8);
        break;
    case TrashKind::COMMENT:
        entry.name = query.text(11);
        entry.place = query.text(8);
        break;
    case TrashKind::PERSON:
        entry.name = query.text(12);
        break;
    case TrashKind::DEVICE:
        entry.name = query.text(13);
        entry.place = query.text(14);
        break;
    }
    return entry;
}

std::optional<TrashEntry> firstEntry(Query& query)
{
    if (!query.step())
        return std::nullopt;
    return readEntry(query);
}

struct Place {
    Id group = 0;
    Id content = 0;
};

/// \return the entry's number.
Id addEntry(DatabaseConnection& connection, TrashKind kind, Id thing, const Place& place, Id by)
{
    Query query(connection, Sql::TRASH_ADD);
    query.bind(static_cast<int>(kind), thing, place.group, place.content, by, now()).step();
    return query.integer(0);
}

bool mark(DatabaseConnection& connection, Sql sql, Id thing, int from, int to)
{
    return Query(connection, sql).bind(thing, from, to).run() > 0;
}

/// Changes the state of a content, and counts it in its group or no longer. \return its group; 0 when it is not in that state.
Id markContent(DatabaseConnection& connection, Id content, ContentState from, ContentState to)
{
    lockGroupOfContent(connection, content);
    Id group = 0;
    ContentType type = ContentType::ANY;
    std::int64_t comments = 0;
    {
        Query query(connection, Sql::CONTENT_MARK);
        query.bind(content, static_cast<int>(from), static_cast<int>(to));
        if (!query.step())
            return 0;
        group = query.integer(0);
        type = static_cast<ContentType>(query.integer(1));
        comments = query.integer(2);
    }
    const bool back = to == ContentState::STORED;
    countContent(connection, group, type, comments, back ? 1 : -1);
    addChange(connection, {0, back ? ChangeKind::CONTENT : ChangeKind::CONTENT_DELETED, group, content, 0});
    return group;
}

/// Changes the mark of a comment, and counts it or no longer. \return false when it does not have that mark, or its content is not
/// there.
bool markComment(DatabaseConnection& connection, Id group, Id content, Id comment, int from, int to)
{
    lockGroup(connection, group);
    {
        Query query(connection, Sql::COMMENT_MARK);
        query.bind(comment, from, to);
        if (!query.step())
            return false;
    }
    countComments(connection, group, content, to == LIVE ? 1 : -1);
    addChange(connection, {0, to == LIVE ? ChangeKind::COMMENT : ChangeKind::COMMENT_DELETED, group, content, comment});
    return true;
}

/// Gives those their memberships back who lost them with the entry, as far as person and group are there.
void giveBack(DatabaseConnection& connection, Id entry)
{
    for (const Sql sql : {Sql::SET_ASIDE_GIVE_BACK, Sql::SET_ASIDE_REMOVE, Sql::SET_ASIDE_HAND_ON})
        Query(connection, sql).bind(entry).run();
}

/// Locks an entry, and before it the group and the people that it is about. \return whether it is still there.
bool lockEntry(DatabaseConnection& connection, const TrashEntry& entry)
{
    if (entry.group != 0)
        lockGroup(connection, entry.group);
    for (const Sql sql : {Sql::SET_ASIDE_LOCK_GROUPS, Sql::SET_ASIDE_LOCK_PEOPLE}) {
        Query query(connection, sql);
        query.bind(entry.id);
        while (query.step()) {
        }
    }
    if (entry.kind == TrashKind::PERSON)
        lockPerson(connection, entry.thing);
    Query query(connection, Sql::TRASH_LOCK);
    return query.bind(entry.id).step();
}

int groupMark(DatabaseConnection& connection, Id group)
{
    Query query(connection, Sql::GROUP_TRASHED);
    return query.bind(group).step() ? static_cast<int>(query.integer(0)) : GOING;
}

Obstacle restoreGroup(DatabaseConnection& connection, const TrashEntry& entry)
{
    Query master(connection, Sql::GROUP_MASTER_IS_LIVE);
    if (!master.bind(entry.thing).step())
        return Obstacle::MASTER;
    if (!mark(connection, Sql::GROUP_MARK, entry.thing, TRASHED, LIVE))
        return Obstacle::GOING;
    giveBack(connection, entry.id);
    return Obstacle::NONE;
}

Obstacle restoreContent(DatabaseConnection& connection, const TrashEntry& entry)
{
    if (groupMark(connection, entry.group) != LIVE)
        return Obstacle::GROUP;
    return markContent(connection, entry.thing, ContentState::TRASHED, ContentState::STORED) != 0 ? Obstacle::NONE
                                                                                                  : Obstacle::GOING;
}

Obstacle restoreComment(DatabaseConnection& connection, const TrashEntry& entry)
{
    if (groupMark(connection, entry.group) != LIVE)
        return Obstacle::GROUP;
    if (!findContent(connection, entry.content))
        return Obstacle::CONTENT;
    return markComment(connection, entry.group, entry.content, entry.thing, TRASHED, LIVE) ? Obstacle::NONE : Obstacle::GOING;
}

Obstacle restorePerson(DatabaseConnection& connection, const TrashEntry& entry)
{
    if (!mark(connection, Sql::PERSON_MARK, entry.thing, TRASHED, LIVE))
        return Obstacle::GOING;
    giveBack(connection, entry.id);
    return Obstacle::NONE;
}

Obstacle restoreDevice(DatabaseConnection& connection, const TrashEntry& entry)
{
    Query owner(connection, Sql::DEVICE_OWNER_IS_LIVE);
    if (!owner.bind(entry.thing).step())
        return Obstacle::PERSON;
    return mark(connection, Sql::DEVICE_MARK_BY_ID, entry.thing, TRASHED, LIVE) ? Obstacle::NONE : Obstacle::GOING;
}

/// Deletes comments of a content, as many as may be. \return whether none is left.
bool purgeComments(DatabaseConnection& connection, Id content, int& most)
{
    const int deleted = Query(connection, Sql::COMMENTS_DELETE_OF_CONTENT).bind(content, most).run();
    most -= deleted;
    return most > 0;
}

/// A file that a content has no more.
struct TakenFile {
    OriginalName original;
    Id person = 0;          ///< whose room it gives back
    std::int64_t bytes = 0; ///< and how much
};

/// Runs a statement that takes the file from a content. \return nothing where there is none.
std::optional<TakenFile> takeFile(DatabaseConnection& connection, Sql sql, Id content)
{
    Query query(connection, sql);
    if (!query.bind(content).step())
        return std::nullopt;
    return TakenFile{{content, query.integer(2)}, query.integer(0), query.integer(1)};
}

/// Deletes contents that have no comments any more. \return their originals.
std::vector<OriginalName> deleteContents(DatabaseConnection& connection, const std::vector<Id>& contents)
{
    std::vector<OriginalName> originals;
    originals.reserve(contents.size());
    std::map<Id, std::int64_t> room;
    for (const Id content : contents) {
        if (const auto file = takeFile(connection, Sql::CONTENT_DELETE, content)) {
            room[file->person] += file->bytes;
            originals.push_back(file->original);
        }
    }
    for (const auto& [person, bytes] : room)
        countBytes(connection, person, -bytes);
    return originals;
}

void purgeGroup(DatabaseConnection& connection, const TrashEntry& entry, Purged& purged)
{
    mark(connection, Sql::GROUP_MARK, entry.thing, TRASHED, GOING);
    std::vector<Id> some;
    {
        Query query(connection, Sql::GROUP_SOME_CONTENTS);
        query.bind(entry.thing, CONTENTS_AT_ONCE);
        while (query.step())
            some.push_back(query.integer(0));
    }
    int comments = COMMENTS_AT_ONCE;
    std::vector<Id> emptied;
    std::copy_if(some.begin(), some.end(), std::back_inserter(emptied),
                 [&](Id content) { return comments > 0 && purgeComments(connection, content, comments); });
    purged.contents = deleteContents(connection, emptied);
    purged.whole = emptied.size() == some.size() && some.size() < CONTENTS_AT_ONCE;
    if (purged.whole)
        Query(connection, Sql::GROUP_DELETE).bind(entry.thing).run();
}

/// The place of the content in its group's feeds stays, for those who page from it.
void purgeContent(DatabaseConnection& connection, const TrashEntry& entry, Purged& purged)
{
    if (const auto file = takeFile(connection, Sql::CONTENT_FORGET, entry.thing))
        countBytes(connection, file->person, -file->bytes);
    int comments = COMMENTS_AT_ONCE;
    purged.whole = purgeComments(connection, entry.thing, comments);
    if (!purged.whole)
        return;
    for (const Sql sql : {Sql::EVENTS_DELETE_OF_CONTENT, Sql::TRASH_REMOVE_OF_CONTENT})
        Query(connection, sql).bind(entry.thing).run();
    Query attempt(connection, Sql::CONTENT_ATTEMPT);
    if (attempt.bind(entry.thing).step())
        purged.contents.push_back({entry.thing, attempt.integer(0)});
}

/// What the person has made keeps its maker's name.
void purgePerson(DatabaseConnection& connection, const TrashEntry& entry, Purged& purged)
{
    purged.image = personImage(connection, entry.thing);
    for (const Sql sql : {Sql::DEVICES_DELETE_OF_PERSON, Sql::SET_ASIDE_REMOVE_OF_PERSON, Sql::PERSON_FORGET, Sql::PERSON_DELETE})
        Query(connection, sql).bind(entry.thing).run();
}

} // namespace

std::vector<TrashEntry> listTrash(DatabaseConnection& connection)
{
    std::vector<TrashEntry> entries;
    Query query(connection, Sql::TRASH_LIST);
    while (query.step())
        entries.push_back(readEntry(query));
    return entries;
}

std::optional<TrashEntry> findTrash(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::TRASH_GET);
    return firstEntry(query.bind(id));
}

std::optional<TrashEntry> findTrashOf(DatabaseConnection& connection, TrashKind kind, Id thing)
{
    Query query(connection, Sql::TRASH_OF_THING);
    return firstEntry(query.bind(static_cast<int>(kind), thing));
}

std::optional<TrashEntry> oldestTrash(DatabaseConnection& connection, Millis before)
{
    Query query(connection, Sql::TRASH_OLDEST);
    return firstEntry(query.bind(before));
}

Id masterOf(DatabaseConnection& connection, Id group)
{
    Query query(connection, Sql::GROUP_MASTER);
    return query.bind(group).step() ? query.integer(0) : 0;
}

bool trashGroup(DatabaseConnection& connection, Id group, Id by)
{
    if (!mark(connection, Sql::GROUP_MARK, group, LIVE, TRASHED))
        return false;
    const Id entry = addEntry(connection, TrashKind::GROUP, group, {group, 0}, by);
    Query(connection, Sql::MEMBERS_SET_ASIDE_OF_GROUP).bind(group, entry).run();
    Query(connection, Sql::MEMBERS_REMOVE_OF_GROUP).bind(group).run();
    return true;
}

bool trashContent(DatabaseConnection& connection, Id content, Id by)
{
    const Id group = markContent(connection, content, ContentState::STORED, ContentState::TRASHED);
    if (group == 0)
        return false;
    addEntry(connection, TrashKind::CONTENT, content, {group, content}, by);
    return true;
}

bool trashComment(DatabaseConnection& connection, const Standing& comment, Id id, Id by)
{
    if (!markComment(connection, comment.group, comment.content, id, LIVE, TRASHED))
        return false;
    addEntry(connection, TrashKind::COMMENT, id, {comment.group, comment.content}, by);
    return true;
}

bool trashPerson(DatabaseConnection& connection, Id person, Id by)
{
    if (!mark(connection, Sql::PERSON_MARK, person, LIVE, TRASHED))
        return false;
    const Id entry = addEntry(connection, TrashKind::PERSON, person, {}, by);
    Query(connection, Sql::MEMBERS_SET_ASIDE_OF_PERSON).bind(person, entry).run();
    Query(connection, Sql::MEMBERS_REMOVE_OF_PERSON).bind(person).run();
    return true;
}

bool trashDevice(DatabaseConnection& connection, const std::string& duid, Id by)
{
    Id device = 0;
    {
        Query query(connection, Sql::DEVICE_MARK);
        query.bind(duid);
        if (!query.step())
            return false;
        device = query.integer(0);
    }
    addEntry(connection, TrashKind::DEVICE, device, {}, by);
    return true;
}

Obstacle restoreTrash(DatabaseConnection& connection, const TrashEntry& entry)
{
    if (!lockEntry(connection, entry))
        return Obstacle::GOING;
    const auto restore = [&] {
        switch (entry.kind) {
        case TrashKind::GROUP:
            return restoreGroup(connection, entry);
        case TrashKind::CONTENT:
            return restoreContent(connection, entry);
        case TrashKind::COMMENT:
            return restoreComment(connection, entry);
        case TrashKind::PERSON:
            return restorePerson(connection, entry);
        case TrashKind::DEVICE:
            return restoreDevice(connection, entry);
        }
        return Obstacle::GOING;
    };
    const Obstacle obstacle = restore();
    if (obstacle == Obstacle::NONE)
        Query(connection, Sql::TRASH_REMOVE).bind(entry.id).run();
    return obstacle;
}

Purged purgeSome(DatabaseConnection& connection, const TrashEntry& entry)
{
    Purged purged;
    // Someone else may have brought it back, or deleted it, since it was looked at.
    if (!lockEntry(connection, entry)) {
        purged.whole = true;
        return purged;
    }
    switch (entry.kind) {
    case TrashKind::GROUP:
        purgeGroup(connection, entry, purged);
        break;
    case TrashKind::CONTENT:
        purgeContent(connection, entry, purged);
        break;
    case TrashKind::COMMENT:
        Query(connection, Sql::COMMENT_DELETE).bind(entry.thing).run();
        purged.whole = true;
        break;
    case TrashKind::PERSON:
        purgePerson(connection, entry, purged);
        purged.whole = true;
        break;
    case TrashKind::DEVICE:
        Query(connection, Sql::DEVICE_DELETE).bind(entry.thing).run();
        purged.whole = true;
        break;
    }
    if (purged.whole)
        Query(connection, Sql::TRASH_REMOVE).bind(entry.id).run();
    return purged;
}

} // namespace kinloomd
