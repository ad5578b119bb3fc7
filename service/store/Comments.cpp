// SPDX-License-Identifier: MIT
#include "store/Comments.h"

#include "store/Changes.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/Locks.h"
#include "store/Parts.h"
#include "store/People.h"

#include <utility>

namespace kinloomd {

namespace {

Comment readComment(const Query& query)
{
    Comment comment;
    comment.id = query.integer(0);
    comment.content = query.integer(1);
    comment.text = query.text(2);
    comment.created = query.integer(3);
    comment.author = readShortPerson(query, 4);
    return comment;
}

/// \return its identifier; 0 when it may not be written.
Id writeAtOnce(DatabaseConnection& connection, const Comment& comment)
{
    Query query(connection, Sql::COMMENT_WRITE);
    query.bind(comment.content, comment.author.id, comment.text, comment.created, static_cast<int>(EntityKind::COMMENT),
               static_cast<int>(ChangeKind::COMMENT));
    return query.step() ? query.integer(0) : 0;
}

/// The same.
Id writeStepByStep(DatabaseConnection& connection, Id group, const Comment& comment)
{
    if (standingAtContent(connection, comment.content, comment.author.id).role == Role::STRANGER)
        return 0;
    const Id id = addEntity(connection, EntityKind::COMMENT);
    Query(connection, Sql::COMMENT_ADD).bind(id, comment.content, comment.author.id, comment.text, comment.created).run();
    countComments(connection, group, comment.content, 1);
    noteUse(connection, group, comment.created);
    addChange(connection, {0, ChangeKind::COMMENT, group, comment.content, id});
    return id;
}

} // namespace

std::optional<Comment> findComment(DatabaseConnection& connection, Id id)
{
    Query query(connection, Sql::COMMENT_BY_ID);
    query.bind(id);
    if (!query.step())
        return std::nullopt;
    return readComment(query);
}

bool readComments(DatabaseConnection& connection, CommentPage& page, const Taker<Comment>& take)
{
    return readInParts(page.count, [&](std::int64_t count) {
        Query query(connection, Sql::COMMENTS_OF_CONTENT);
        query.bind(page.content, page.after, count, page.index);
        return takeRows(query, [&] {
            const Comment comment = readComment(query);
            page = {page.content, comment.id, 0, page.count - 1};
            return take(comment);
        });
    });
}

CommentPage latestComments(DatabaseConnection& connection, Id content, std::int64_t count)
{
    Query query(connection, Sql::COMMENT_BEFORE_LATEST);
    query.bind(content, count);
    return {content, query.step() ? query.integer(0) : 0, 0, count};
}

Standing standingAtComment(DatabaseConnection& connection, Id comment, Id person)
{
    Query query(connection, Sql::COMMENT_ROLE);
    query.bind(comment, person);
    if (!query.step())
        return {};
    const Role role = query.integer(1) != 0 ? Role::MASTER : query.integer(2) != 0 ? Role::AUTHOR : Role::MEMBER;
    return {role, query.integer(0), query.integer(3)};
}

std::optional<Comment> writeComment(DatabaseConnection& connection, Id group, Id content, const Person& author,
                                    const std::string& text)
{
    Comment comment{0, content, text, now(), author};
    comment.id = connection.writesToManyTables() ? writeAtOnce(connection, comment) : writeStepByStep(connection, group, comment);
    return comment.id != 0 ? std::optional<Comment>(std::move(comment)) : std::nullopt;
}

Id addComment(DatabaseConnection& connection, Id group, Id content, Id author, const std::string& text)
{
    lockGroup(connection, group);
    Person person;
    person.id = author;
    const auto comment = writeComment(connection, group, content, person, text);
    return comment ? comment->id : 0;
}

void countComments(DatabaseConnection& connection, Id group, Id content, int change)
{
    Query(connection, Sql::CONTENT_COMMENTED).bind(content, change).run();
    Query(connection, Sql::GROUP_COMMENTED).bind(group, change).run();
}

} // namespace kinloomd
