// SPDX-License-Identifier: MIT
#include "store/Comments.h"

#include "store/Contents.h"
#include "store/Groups.h"
#include "store/People.h"

#include <algorithm>

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

std::vector<Comment> readComments(Query& query)
{
    std::vector<Comment> comments;
    while (query.step())
        comments.push_back(readComment(query));
    return comments;
}

void countComments(DatabaseConnection& connection, Id group, Id content, int change)
{
    Query(connection, Sql::CONTENT_COMMENTED).bind(content, change).run();
    Query(connection, Sql::GROUP_COMMENTED).bind(group, change).run();
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

std::vector<Comment> listComments(DatabaseConnection& connection, Id content, std::int64_t index, std::int64_t count)
{
    Query query(connection, Sql::COMMENTS_OF_CONTENT);
    query.bind(content, count, index);
    return readComments(query);
}

std::vector<Comment> latestComments(DatabaseConnection& connection, Id content, std::int64_t count)
{
    Query query(connection, Sql::COMMENTS_LATEST);
    query.bind(content, count);
    std::vector<Comment> comments = readComments(query);
    std::reverse(comments.begin(), comments.end());
    return comments;
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

Id addComment(DatabaseConnection& connection, Id group, Id content, Id author, const std::string& text)
{
    if (standingAtContent(connection, content, author).role == Role::STRANGER)
        return 0;
    const Id id = addEntity(connection, EntityKind::COMMENT);
    const Millis present = now();
    Query(connection, Sql::COMMENT_ADD).bind(id, content, author, text, present).run();
    countComments(connection, group, content, 1);
    noteUse(connection, group, present);
    return id;
}

bool deleteComment(DatabaseConnection& connection, const Standing& comment, Id id)
{
    if (Query(connection, Sql::COMMENT_DELETE).bind(id).run() == 0)
        return false;
    countComments(connection, comment.group, comment.content, -1);
    return true;
}

} // namespace kinloomd
