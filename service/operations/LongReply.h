// SPDX-License-Identifier: MIT
/// \file Replies with lists. They are written while they are sent, a piece at a time, so that a long one takes no more memory than
/// a short one, and a client that reads slowly keeps nothing but its connection.
#ifndef KINLOOMD_OPERATIONS_LONGREPLY_H
#define KINLOOMD_OPERATIONS_LONGREPLY_H

#include "operations/Request.h"
#include "store/Database.h"
#include "wire/XmlWriter.h"

#include <memory>

namespace kinloomd {

class Service;

/// The size of a piece, beyond which it may go by its last record. A document that fits in one is sent as a text, with its length.
inline constexpr std::size_t PIECE_BYTES = 192 * 1024;

/// A document with a list, on its way. Each piece is read from the database as it is then; between two pieces there is neither a
/// transaction nor a connection, and the listing remembers its place by the keys of the last record. Records that come or go
/// meanwhile neither double nor hide others.
class Listing {
public:
    Listing() = default;
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;
    virtual ~Listing() = default;

    /// Writes the document up to the list.
    virtual void begin(XmlWriter& xml) = 0;
    /// Throws ServiceError when the person may not read on. Asked before every piece but the first.
    virtual void admit(DatabaseConnection& connection) const = 0;
    /// Writes records until the piece is full. \return whether none is left; elements that are open then are ended by the caller.
    virtual bool goOn(DatabaseConnection& connection, XmlWriter& xml) = 0;

protected:
    /// \return whether the piece can take another record.
    static bool hasRoom(const XmlWriter& xml) { return xml.written().size() < PIECE_BYTES; }
};

/// The body of a long reply, from its second piece on. What cannot be read any more breaks it off, so that the client sees that it
/// has only a part.
class ListingSource : public httpd::BodySource {
public:
    /// \param xml holds the first piece.
    ListingSource(Database& database, std::unique_ptr<Listing> listing, XmlWriter xml);

    std::int64_t read(char* buffer, std::size_t size, httpd::Connection& connection) override;
    /// The same; nobody is waited for but other readers' turns at the database.
    std::int64_t read(char* buffer, std::size_t size);

    /// How many bytes of the document are in memory.
    std::size_t held() const { return m_xml.written().size(); }

private:
    void writeOn();

    Database& m_database;
    std::unique_ptr<Listing> m_listing;
    XmlWriter m_xml;
    std::size_t m_sent = 0; ///< of what the writer holds
};

/// The reply to a request for a list. The first piece is read here and now, within the caller's snapshot; the person must be
/// allowed to read it.
Reply longReply(Service& service, DatabaseConnection& connection, std::unique_ptr<Listing> listing);

} // namespace kinloomd

#endif
