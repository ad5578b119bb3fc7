// SPDX-License-Identifier: MIT
#include "WKLOAI/replies/Replies.h"

#include "WKLOAI/replies/Lists.h"

namespace W::replies {

namespace {

/// Where a kind of list has its records: below "data", or beside it.
enum class RecordsIn { DATA, ROOT };

template <class List, class Record>
WSTATUS parseList(const Reading& reading, const STRING& payload, RecordsIn where, WContainer<Record>& records, unsigned int& count,
                  int line = __builtin_LINE())
{
    return parsing(
        [&] {
            Budget budget(payload.size());
            RecordReader reader(reading, budget);
            List list(reader);
            const Document document(payload, budget, &list);
            return walkEnvelope(
                document, {}, [](const xmlNode*) {},
                [&](const xmlNode* data) {
                    const xmlNode* const parent = where == RecordsIn::DATA ? data : document.root();
                    list.finish(parent);
                    list.deliver(records, count, List::hasChildren(parent));
                    return Walk::END; // only the first payload counts, and nothing behind it does, a late verdict included
                },
                line);
        },
        line);
}

template <class List, class Record>
WSTATUS readList(const Reading& reading, xmlpp::Node* node, WContainer<Record>& records, unsigned int& count,
                 int line = __builtin_LINE())
{
    const auto read = [&](RecordReader& reader, const xmlNode* parent) {
        List list(reader);
        list.walk(parent);
        list.finish(parent);
        list.deliver(records, count, List::hasChildren(parent));
    };
    const WSTATUS status = readRecord(reading, node, read, line);
    if (status < 0)
        records.data().clear();
    return status;
}

} // namespace

WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WContent>& contents, unsigned int& count)
{
    return parseList<ContentList>(reading, payload, RecordsIn::DATA, contents, count);
}

WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WGroup>& groups, unsigned int& count)
{
    return parseList<GroupList>(reading, payload, RecordsIn::DATA, groups, count);
}

// Comments and galleries stand beside "data", not below it; "data" only says that they are there.
WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WComment>& comments, unsigned int& count)
{
    return parseList<CommentList>(reading, payload, RecordsIn::ROOT, comments, count);
}

WSTATUS parseReply(const Reading& reading, const STRING& payload, WContainer<WKLGallery>& galleries, unsigned int& count)
{
    return parseList<GalleryList>(reading, payload, RecordsIn::ROOT, galleries, count);
}

WSTATUS parseUploadSlot(const STRING& payload, WContent& content)
{
    return parsing([&] {
        Budget budget(payload.size());
        const Document document(payload, budget);
        return walkEnvelope(
            document, {}, [](const xmlNode*) {},
            [&](const xmlNode* data) {
                content.setUID(xml::entry(data, "contentId").text());
                content.setResourceURL(xml::entry(data, "uploadUrl").text());
                return Walk::GO_ON;
            });
    });
}

WSTATUS parseUserIdentity(const STRING& payload, std::optional<STRING>& userID)
{
    return parsing([&] {
        Budget budget(payload.size());
        const Document document(payload, budget);
        const xmlNode* const root = document.root();
        if (!xml::isElement(root, "rsp") || std::string_view(xml::childText(root, "stat")) != "ok")
            return logFailure(wstatus::FAILED);
        userID = xml::entry(root, "userId").text();
        return wstatus::OK;
    });
}

WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WContent>& contents, unsigned int& count)
{
    return readList<ContentList>(reading, node, contents, count);
}

WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WGroup>& groups, unsigned int& count)
{
    return readList<GroupList>(reading, node, groups, count);
}

WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WComment>& comments, unsigned int& count)
{
    return readList<CommentList>(reading, node, comments, count);
}

WSTATUS readTree(const Reading& reading, xmlpp::Node* node, WContainer<WKLGallery>& galleries, unsigned int& count)
{
    return readList<GalleryList>(reading, node, galleries, count);
}

} // namespace W::replies
