// SPDX-License-Identifier: MIT
// Contents and their comments.
#include "core/Failure.h"
#include "operations/Actions.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "operations/page/Calendar.h"
#include "operations/page/PageHandlers.h"
#include "operations/page/PageRecords.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/Groups.h"

#include <algorithm>

namespace kinloomd {

namespace {

constexpr std::uint32_t DEFAULT_PAGE = 100;
constexpr std::uint32_t MOST_CONTENTS = 1000; ///< of a page
constexpr std::int64_t MOST_COMMENTS = 1000;  ///< of a content; the newest ones

Role requireMember(DatabaseConnection& connection, Id group, Id person)
{
    const Role role = roleInGroup(connection, group, person);
    requirePermission(Action::READ_FEED, role);
    return role;
}

/// Up to so many contents from a place on, the newest first.
Json readContents(DatabaseConnection& connection, const PageRecords& records, Id group, const Marker& from, std::int64_t count,
                  Role role)
{
    FeedPage page;
    page.group = group;
    page.count = count;
    page.from = from;
    page.rowsAtOnce = ROWS_OF_PAGE;
    Json contents = Json::array();
    readFeed(connection, page, [&](const Content& content) {
        contents.push_back(records.content(content, role));
        return true;
    });
    return contents;
}

/// The content beside another one, or null.
Json neighbourOf(DatabaseConnection& connection, const Content& content, FeedDirection direction)
{
    FeedPage page;
    page.group = content.group;
    page.direction = direction;
    page.from = {content.created, content.id};
    page.count = 1;
    Json neighbour;
    readFeed(connection, page, [&](const Content& found) {
        neighbour = std::to_string(found.id);
        return true;
    });
    return neighbour;
}

std::int64_t totalOf(DatabaseConnection& connection, Id group)
{
    const auto found = findGroup(connection, group);
    return found ? found->total : 0;
}

Json readComments(DatabaseConnection& connection, const PageRecords& records, Id content, Role role)
{
    Json comments = Json::array();
    CommentPage page = latestComments(connection, content, MOST_COMMENTS);
    readComments(connection, page, [&](const Comment& comment) {
        comments.push_back(records.comment(comment, role));
        return true;
    });
    return comments;
}

Json contentRecord(Service& service, DatabaseConnection& connection, Id viewer, Id id)
{
    const auto content = findContent(connection, id);
    if (!content)
        throw ServiceError(Failure::NOT_FOUND);
    return PageRecords(service, viewer).content(*content, roleInGroup(connection, content->group, viewer));
}

/// How long what was deleted can be brought back.
Reply undoReply() { return jsonReply({{"undo_seconds", TRASH_TIME / 1000}}); }

} // namespace

Reply handlePageMonths(Service& service, Request& request)
{
    const Id group = requireId(request.pieces[0]);
    Json months = Json::array();
    std::int64_t total = 0;
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    requireMember(connection, group, request.caller.person.id);
    for (const Month& month : monthsOf(connection, group, service.timeZone())) {
        months.push_back({{"month", month.name}, {"count", month.count}, {"index", total}});
        total += month.count;
    }
    return jsonReply({{"total", total}, {"months", std::move(months)}});
}

Reply handlePageContents(Service& service, Request& request)
{
    const Id group = requireId(request.pieces[0]);
    const std::int64_t index = numberParameter(request.query, "index", 0);
    const std::uint32_t count = numberParameter(request.query, "count", DEFAULT_PAGE);
    if (count > MOST_CONTENTS)
        throw ServiceError(Failure::BAD_PARAMETER, "count is above " + std::to_string(MOST_CONTENTS) + ".");
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    const PagePlace entry = enterPage(connection, group, request.caller.person.id, std::max<std::int64_t>(index - 1, 0));
    requirePermission(Action::READ_FEED, entry.role);
    const PageRecords records(service, request.caller.person.id);
    Json contents = Json::array();
    // Behind the last one there is nothing.
    if (index == 0 || entry.place)
        contents = readContents(connection, records, group, index == 0 ? BEHIND_NEWEST : *entry.place, count, entry.role);
    return jsonReply({{"total", entry.total}, {"index", index}, {"contents", std::move(contents)}});
}

Reply handlePageContent(Service& service, Request& request)
{
    const Id id = requireId(request.pieces[0]);
    const Id caller = request.caller.person.id;
    const PageRecords records(service, caller);
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    requirePermission(Action::VIEW_CONTENT, standingAtContent(connection, id, caller).role);
    const Content content = *findContent(connection, id);
    const Role role = roleInGroup(connection, content.group, caller);
    Json record = records.content(content, role);
    EventPage events{id, 0};
    readEvents(connection, events, [&](const Event& event) {
        record["events"].push_back(records.event(event));
        return true;
    });
    return jsonReply({{"content", std::move(record)},
                      {"comments", readComments(connection, records, id, role)},
                      {"group", std::to_string(content.group)},
                      {"index", indexOf(connection, content.group, {content.created, id})},
                      {"total", totalOf(connection, content.group)},
                      {"previous", neighbourOf(connection, content, FeedDirection::AFTER)},
                      {"next", neighbourOf(connection, content, FeedDirection::BEFORE)}});
}

Reply handlePageDelete(Service& service, Request& request)
{
    deleteThing(service, request.caller.person.id, requireId(request.pieces[0]), EntityKind::CONTENT);
    return undoReply();
}

Reply handlePageRestore(Service& service, Request& request)
{
    const Id id = requireId(request.pieces[0]);
    restoreThing(service, request.caller.person.id, TrashKind::CONTENT, id);
    const auto connection = service.database().read();
    return jsonReply(contentRecord(service, connection, request.caller.person.id, id));
}

Reply handlePageComment(Service& service, Request& request)
{
    const Json body = bodyOf(request);
    const Id caller = request.caller.person.id;
    const Comment comment =
        writeComment(service, request.caller.person, requireId(request.pieces[0]), textMember(body, "text", TEXT_CHARACTERS));
    // Whose text it is may take it away again, whatever else he or she is to the group.
    return jsonReply(PageRecords(service, caller).comment(comment, Role::MEMBER), 201);
}

Reply handlePageCommentDelete(Service& service, Request& request)
{
    deleteThing(service, request.caller.person.id, requireId(request.pieces[0]), EntityKind::COMMENT);
    return undoReply();
}

Reply handlePageCommentRestore(Service& service, Request& request)
{
    const Id id = requireId(request.pieces[0]);
    const Id caller = request.caller.person.id;
    restoreThing(service, caller, TrashKind::COMMENT, id);
    const auto connection = service.database().read();
    const auto comment = findComment(connection, id);
    if (!comment)
        throw ServiceError(Failure::NOT_FOUND);
    const Role role = roleInGroup(connection, standingAtComment(connection, id, caller).group, caller);
    return jsonReply(PageRecords(service, caller).comment(*comment, role));
}

} // namespace kinloomd
