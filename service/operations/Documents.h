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

/// A successful reply without records.
Reply okReply(ReplyShape shape);
/// A failure. \p plainCode repeats the code as a line of text, for clients that look for it there.
Reply failureReply(ReplyShape shape, const ServiceError& error, bool plainCode = false);

/// A group and the people to be shown with it.
struct GroupEntry {
    Group group;
    std::vector<Person> members;
};

/// Writes documents for one request.
class Documents {
public:
    Documents(ReplyShape shape, Links links) : m_shape(shape), m_links(std::move(links)) {}

    Reply account(const Person& person) const;
    Reply groups(const std::vector<GroupEntry>& groups, const Include& include, const Person& caller) const;
    Reply newGroup(const GroupEntry& group) const;
    Reply feed(const std::vector<Content>& contents, const Include& include) const;
    /// One content as a gallery holds it, with its comments and events.
    Reply galleryContent(const Content& content, const std::vector<Comment>& comments, const std::vector<Event>& events) const;
    Reply comments(const std::vector<Comment>& comments) const;
    Reply uploadSlot(Id content) const;

private:
    Reply withData(const std::function<void(XmlWriter&)>& writeData) const;
    void writeGroup(XmlWriter& xml, const GroupEntry& entry, const Include& include) const;
    void writeContent(XmlWriter& xml, const Content& content, const Include& include) const;
    void writeThumbnails(XmlWriter& xml, const MediaLinks& links) const;
    void writeShortUser(XmlWriter& xml, const char* name, const Person& person) const;
    void writeFullUser(XmlWriter& xml, const char* name, const Person& person) const;
    void writeComment(XmlWriter& xml, const Comment& comment) const;
    void writeEvent(XmlWriter& xml, const Content& content, const Event& event) const;

    ReplyShape m_shape;
    Links m_links;
};

} // namespace kinloomd

#endif
