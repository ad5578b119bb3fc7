// SPDX-License-Identifier: MIT
/// \file From the body of a reply to records, one routine for each kind of reply.
///
/// Nothing here throws: a malformed reply, a hostile one, or one that there is no memory for is -16, with a line in the log.
#ifndef WKLOAI_REPLIES_REPLIES_H
#define WKLOAI_REPLIES_REPLIES_H

#include "W/WContainer.h"
#include "WKLOAI/replies/Envelope.h"
#include "WKLOAI/replies/RecordReader.h"

#include <libxml++/nodes/node.h>
#include <optional>

namespace W::replies {

// Lists. The reply is parsed where it lies. The count is that of the records in the reply; a reply without a payload leaves it and
// the container alone.
WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WContent>& contents, unsigned int& count);
WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WGroup>& groups, unsigned int& count);
WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WComment>& comments, unsigned int& count);
WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WKLGallery>& galleries, unsigned int& count);

/// The slot that the service has reserved for an upload: identifier and address.
WSTATUS parseUploadSlot(const STRING& payload, WContent& content);

/// The identifier of the person who is signed in; left alone by a reply that does not tell it.
WSTATUS parseUserIdentity(const STRING& payload, std::optional<STRING>& userID);

// The same lists from a tree that the caller has parsed; after a failure the container is empty.
WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WContent>& contents, unsigned int& count);
WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WGroup>& groups, unsigned int& count);
WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WComment>& comments, unsigned int& count);
WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WKLGallery>& galleries, unsigned int& count);

/// One record of a tree that the caller has parsed. \param read called with a reader and the element, unless there is none.
template <class Read> WSTATUS readRecord(const Reading& reading, xmlpp::Node* node, Read&& read, int line = __builtin_LINE())
{
    if (!node)
        return wstatus::OK;
    return parsing(
        [&] {
            Budget budget;
            RecordReader reader(reading, budget);
            read(reader, static_cast<const xmlNode*>(node->cobj()));
            return wstatus::OK;
        },
        line);
}

/// The reply to an account request, which carries no records, only a verdict.
/// \param failed the status of a verdict of "fail". \param onOk called with the element of one that says "ok".
template <class OnOk> WSTATUS parseVerdict(const STRING& payload, WSTATUS failed, OnOk&& onOk, int line = __builtin_LINE())
{
    return parsing(
        [&] {
            Budget budget(payload.size());
            const Document document(payload, budget);
            return walkEnvelope(
                document, {failed, true}, std::forward<OnOk>(onOk), [](const xmlNode*) { return Walk::GO_ON; }, line);
        },
        line);
}

} // namespace W::replies

#endif
