// SPDX-License-Identifier: MIT
#include "operations/Actions.h"
#include "operations/Documents.h"
#include "operations/Handlers.h"
#include "operations/LongReply.h"
#include "operations/Parameters.h"
#include "operations/Permissions.h"
#include "operations/Service.h"
#include "store/Comments.h"
#include "store/Contents.h"
#include "store/People.h"

#include <utility>

namespace kinloomd {

namespace {

constexpr std::int64_t COMMENTS_IN_VIEW = 1000; ///< the newest ones; "commentCount" tells of all

/// A content with its newest comments and its events.
class GalleryListing : public Listing {
public:
    GalleryListing(const Service& service, const Request& request, const Content& content, const CommentPage& comments)
        : m_documents(service.documentsFor(request)),
          m_caller(request.caller.person.id),
          m_content(content),
          m_comments(comments),
          m_events{content.id, 0}
    {
    }

    void begin(XmlWriter& xml) override { m_documents.beginGallery(xml, m_content); }

    void admit(DatabaseConnection& connection) const override
    {
        requirePermission(Action::VIEW_CONTENT, standingAtContent(connection, m_content.id, m_caller).role);
    }

    bool goOn(DatabaseConnection& connection, XmlWriter& xml) override
    {
        const auto writeComment = [&](const Comment& comment) {
            m_documents.writeComment(xml, comment);
            return hasRoom(xml);
        };
        m_inEvents = m_inEvents || readComments(connection, m_comments, writeComment);
        return m_inEvents && readEvents(connection, m_events, [&](const Event& event) {
                   if (!std::exchange(m_eventsBegun, true))
                       xml.open("eventLink");
                   m_documents.writeEvent(xml, m_content.group, event);
                   return hasRoom(xml);
               });
    }

private:
    Documents m_documents;
    Id m_caller;
    Content m_content;
    CommentPage m_comments;
    EventPage m_events;
    bool m_inEvents = false;
    bool m_eventsBegun = false;
};

Reply viewContent(Service& service, const Request& request, DatabaseConnection& connection, Id id)
{
    requirePermission(Action::VIEW_CONTENT, standingAtContent(connection, id, request.caller.person.id).role);
    return longReply(service, connection,
                     std::make_unique<GalleryListing>(service, request, *findContent(connection, id),
                                                      latestComments(connection, id, COMMENTS_IN_VIEW)));
}

Reply viewComment(Service& service, const Request& request, DatabaseConnection& connection, Id id)
{
    requirePermission(Action::VIEW_COMMENT, standingAtComment(connection, id, request.caller.person.id).role);
    const auto comment = findComment(connection, id);
    return service.documentsFor(request).comment(*comment);
}

} // namespace

Reply handleView(Service& service, Request& request)
{
    const Id id = requireId(request.subject);
    const auto connection = service.database().readInTurn();
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
    deleteThing(service, request.caller.person.id, requireId(request.subject), EntityKind::NONE);
    return okReply(service.options().replyShape);
}

} // namespace kinloomd
