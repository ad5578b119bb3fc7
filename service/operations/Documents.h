// SPDX-License-Identifier: MIT
/// \file The reply documents.
///
/// Every document is an "rsp" element that holds "result" with the outcome and then "data" with the records, in this order, since
/// readers stop at "data". Comments are the exception: they stand directly in "rsp", beside an empty "data".
///
/// Lists of records have two containers each. In the shape with elements groups stand directly in "data"; in the shape with
/// attributes they stand in "user" elements, and a person's picture in "userImage" in place of "thumbnail".
#ifndef KINLOOMD_OPERATIONS_DOCUMENTS_H
#define KINLOOMD_OPERATIONS_DOCUMENTS_H

#include "core/Failure.h"
#include "operations/Links.h"
#include "operations/Request.h"
#include "store/Records.h"
#include "wire/XmlWriter.h"

#include <functional>

namespace kinloomd {

/// What a request wants to know beyond the records themselves.
struct Include {
    bool usage = false;   ///< totals
    bool member = false;  ///< people: a group's members, a content's creator
    bool creator = false; ///< the group's master, a content's creator
};

/// The word for a type of contents in records.
const char* typeName(ContentType type);

/// The Content-Type of every document.
inline constexpr const char* DOCUMENT_TYPE = "application/xml; charset=utf-8";

/// A successful reply without records.
Reply okReply(ReplyShape shape);
/// A failure. \p plainCode repeats the code as a line of text, for clients that look for it there.
Reply failureReply(ReplyShape shape, const ServiceError& error, bool plainCode = false);

/// Writes documents for one request.
class Documents {
public:
    Documents(ReplyShape shape, Links links) : m_shape(shape), m_links(std::move(links)) {}

    Reply account(const Person& person) const;
    Reply newGroup(const Group& group, const Person& master) const;
    Reply feed(const std::vector<Content>& contents, const Include& include) const;
    Reply comment(const Comment& comment) const;
    Reply uploadSlot(Id content) const;

    // Documents with lists that may be long (LongReply.h): their beginnings, and their records one by one. Who has written the
    // last record ends what is open.

    /// Up to the first record of a feed.
    static void beginData(XmlWriter& xml);
    /// Up to the first group of a list.
    void beginGroups(XmlWriter& xml, const Person& caller) const;
    /// A group up to its members; the element stays open.
    void beginGroup(XmlWriter& xml, const Group& group, const Include& include) const;
    void writeMember(XmlWriter& xml, const Person& member) const;
    void writeContent(XmlWriter& xml, const Content& content, const Include& include) const;
    /// Up to the first comment, and what follows the last.
    static void beginComments(XmlWriter& xml);
    static void endComments(XmlWriter& xml);
    void writeComment(XmlWriter& xml, const Comment& comment) const;
    /// One content as a gallery holds it, up to its comments; its events follow these in an element of their own.
    void beginGallery(XmlWriter& xml, const Content& content) const;
    void writeEvent(XmlWriter& xml, Id group, const Event& event) const;

private:
    Reply withData(const std::function<void(XmlWriter&)>& writeData) const;
    void writeThumbnails(XmlWriter& xml, const MediaLinks& links) const;
    void writeShortUser(XmlWriter& xml, const char* name, const Person& person) const;
    void writeFullUser(XmlWriter& xml, const char* name, const Person& person) const;

    ReplyShape m_shape;
    Links m_links;
};

} // namespace kinloomd

#endif
