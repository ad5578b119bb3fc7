// SPDX-License-Identifier: MIT
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Comments.h"
#include "store/Contents.h"

namespace kinloomd {

Reply handleCommentCreate(Service& service, Request& request)
{
    const Id content = requireId(request.subject);
    const std::string text = textParameter(request.form, "commentText", TEXT_CHARACTERS);
    if (text.empty())
        throw ServiceError(Failure::MISSING_PARAMETER, "A comment needs a text.");
    std::optional<Comment> comment;
    {
        const auto connection = service.database().write();
        Transaction transaction(connection);
        const Standing standing = standingAtContent(connection, content, request.caller.person.id);
        requirePermission(Action::WRITE_COMMENT, standing.role);
        const Id id = addComment(connection, standing.group, content, request.caller.person.id, text);
        comment = findComment(connection, id);
        transaction.commit();
    }
    return service.documentsFor(request).comments({*comment});
}

Reply handleCommentList(Service& service, Request& request)
{
    const Id content = requireId(request.subject);
    const std::int64_t index = numberParameter(request.query, "search_index", 0);
    const std::int64_t count = pageSize(service, request.query, service.options().limits.pageRecords);
    std::vector<Comment> comments;
    {
        const auto connection = service.database().read();
        const Snapshot snapshot(connection);
        const Standing standing = standingAtContent(connection, content, request.caller.person.id);
        requirePermission(Action::LIST_COMMENTS, standing.role);
        // One more than asked for says that there are more.
        comments = listComments(connection, content, index, count + 1);
    }
    return service.documentsFor(request).comments(comments);
}

} // namespace kinloomd
