// SPDX-License-Identifier: MIT
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/People.h"

namespace kinloomd {

namespace {

constexpr std::int64_t COMMENTS_IN_VIEW = 1000; ///< the newest ones; "commentCount" tells of all

Reply viewContent(Service& service, const Request& request, DatabaseConnection& connection, Id id)
{
    requirePermission(Action::VIEW_CONTENT, standingAtContent(connection, id, request.caller.person.id).role);
    const auto content = findContent(connection, id);
    const auto comments = latestComments(connection, id, COMMENTS_IN_VIEW);
    const auto events = listEvents(connection, id);
    return service.documentsFor(request).galleryContent(*content, comments, events);
}

Reply viewComment(Service& service, const Request& request, DatabaseConnection& connection, Id id)
{
    requirePermission(Action::VIEW_COMMENT, standingAtComment(connection, id, request.caller.person.id).role);
    const auto comment = findComment(connection, id);
    return service.documentsFor(request).comments({*comment});
}

} // namespace

Reply handleView(Service& service, Request& request)
{
    const Id id = requireId(request.subject);
    const auto connection = service.database().read();
    const Snapshot snapshot(connection);
    switch (kindOf(connection, id)) {
    case EntityKind::CONTENT:
        return viewContent(service, request, connection, id);
    case EntityKind::COMMENT:
        return viewComment(service, request, connection, id);
    default:
        throw ServiceError(Failure::NOT_FOUND);
    }
}

Reply handleDelete(Service& service, Request& request)
{
    const Id id = requireId(request.subject);
    const Id caller = request.caller.person.id;
    bool filesToo = false;
    {
        const auto connection = service.database().write();
        Transaction transaction(connection);
        const EntityKind kind = kindOf(connection, id);
        if (kind == EntityKind::CONTENT) {
            requirePermission(Action::DELETE_CONTENT, standingAtContent(connection, id, caller).role);
            filesToo = deleteContent(connection, id);
        } else if (kind == EntityKind::COMMENT) {
            const Standing standing = standingAtComment(connection, id, caller);
            requirePermission(Action::DELETE_COMMENT, standing.role);
            deleteComment(connection, standing, id);
        } else {
            throw ServiceError(Failure::NOT_FOUND);
        }
        transaction.commit();
    }
    if (filesToo)
        service.media().removeContent(id);
    return okReply(service.options().replyShape);
}

} // namespace kinloomd
