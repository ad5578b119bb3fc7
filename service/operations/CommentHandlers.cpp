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

namespace kinloomd {

namespace {

class CommentListing : public Listing {
public:
    CommentListing(const Service& service, const Request& request, const CommentPage& page)
        : m_documents(service.documentsFor(request)), m_caller(request.caller.person.id), m_page(page)
    {
    }

    void begin(XmlWriter& xml) override { Documents::beginComments(xml); }

    void admit(DatabaseConnection& connection) const override
    {
        requirePermission(Action::LIST_COMMENTS, standingAtContent(connection, m_page.content, m_caller).role);
    }

    bool goOn(DatabaseConnection& connection, XmlWriter& xml) override
    {
        const bool through = readComments(connection, m_page, [&](const Comment& comment) {
            m_documents.writeComment(xml, comment);
            return hasRoom(xml);
        });
        if (through)
            Documents::endComments(xml);
        return through;
    }

private:
    Documents m_documents;
    Id m_caller;
    CommentPage m_page;
};

} // namespace

Reply handleCommentCreate(Service& service, Request& request)
{
    const Id content = requireId(request.subject);
    const std::string text = textParameter(request.form, "commentText", TEXT_CHARACTERS);
    return service.documentsFor(request).comment(writeComment(service, request.caller.person, content, text));
}

Reply handleCommentList(Service& service, Request& request)
{
    CommentPage page;
    page.content = requireId(request.subject);
    page.index = numberParameter(request.query, "search_index", 0);
    // One more than asked for says that there are more.
    page.count = std::int64_t{pageSize(service, request.query, service.options().limits.pageRecords)} + 1;
    const auto connection = service.database().readInTurn();
    const Snapshot snapshot(connection);
    auto listing = std::make_unique<CommentListing>(service, request, page);
    listing->admit(connection);
    return longReply(service, connection, std::move(listing));
}

} // namespace kinloomd
