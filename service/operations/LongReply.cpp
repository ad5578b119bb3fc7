// SPDX-License-Identifier: MIT
#include "operations/LongReply.h"

#include "core/Log.h"
#include "operations/Documents.h"
#include "operations/Service.h"

#include <string>

namespace kinloomd {

namespace {

/// \return whether the document is whole.
bool writePiece(DatabaseConnection& connection, Listing& listing, XmlWriter& xml)
{
    const bool whole = listing.goOn(connection, xml);
    if (whole)
        xml.end();
    return whole;
}

} // namespace

ListingSource::ListingSource(Database& database, std::unique_ptr<Listing> listing, XmlWriter xml)
    : m_database(database), m_listing(std::move(listing)), m_xml(std::move(xml))
{
}

std::int64_t ListingSource::read(char* buffer, std::size_t size, httpd::Connection&) { return read(buffer, size); }

std::int64_t ListingSource::read(char* buffer, std::size_t size)
{
    if (m_sent == m_xml.written().size()) {
        if (!m_listing)
            return END;
        try {
            writeOn();
        } catch (const ServiceError&) {
            return BROKEN; // the person may not read on
        } catch (const std::exception& error) {
            writeLog(Priority::FAILURE, std::string("a reply was broken off: ") + error.what());
            return BROKEN;
        }
    }
    const std::size_t count = m_xml.written().copy(buffer, size, m_sent);
    m_sent += count;
    return static_cast<std::int64_t>(count);
}

void ListingSource::writeOn()
{
    m_xml.forget();
    m_sent = 0;
    const auto connection = m_database.readInTurn();
    const Snapshot snapshot(connection);
    m_listing->admit(connection);
    if (writePiece(connection, *m_listing, m_xml))
        m_listing.reset();
}

Reply longReply(Service& service, DatabaseConnection& connection, std::unique_ptr<Listing> listing)
{
    XmlWriter xml(service.options().replyShape);
    listing->begin(xml);
    Reply reply;
    reply.contentType = DOCUMENT_TYPE;
    if (writePiece(connection, *listing, xml)) {
        reply.body = xml.take();
        return reply;
    }
    reply.body =
        httpd::StreamBody{std::make_unique<ListingSource>(service.database(), std::move(listing), std::move(xml)), std::nullopt};
    return reply;
}

} // namespace kinloomd
