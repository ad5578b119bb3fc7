// SPDX-License-Identifier: MIT
// The entry points: from a reply's body to records, one per kind of reply.
#include "WKLOAI/replies/Entry.h"
#include "WKLOAI/replies/Envelope.h"
#include "WKLOAI/replies/Lists.h"

#include <cassert>
#include <libxml++/nodes/node.h>

namespace W {

namespace {

using namespace replies;

/// Where a kind of list has its records: below "data", or beside it.
enum class RecordsIn { DATA, ROOT };

template <class List, class Record>
WSTATUS parseList(WKLOAI& oai, const STRING& payload, RecordsIn where, WContainer<Record>& records, unsigned int& count,
                  int line = __builtin_LINE())
{
    return parsing(
        [&] {
            Budget budget(payload.size());
            RecordReader reader(oai, budget);
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

/// The same for a tree that the caller has parsed.
template <class List, class Record>
WSTATUS readList(WKLOAI& oai, xmlpp::Node* node, WContainer<Record>& records, unsigned int& count, int line = __builtin_LINE())
{
    if (!node)
        return WSTATUS_OK;
    const WSTATUS status = parsing(
        [&] {
            Budget budget;
            RecordReader reader(oai, budget);
            List list(reader);
            list.walk(node->cobj());
            list.finish(node->cobj());
            list.deliver(records, count, List::hasChildren(node->cobj()));
            return static_cast<WSTATUS>(WSTATUS_OK);
        },
        line);
    if (status < 0)
        records.data().clear();
    return status;
}

/// Reads one record of a tree that the caller has parsed.
template <class Read> WSTATUS readRecord(WKLOAI& oai, xmlpp::Node* node, Read&& read, int line = __builtin_LINE())
{
    if (!node)
        return WSTATUS_OK;
    return parsing(
        [&] {
            Budget budget;
            RecordReader reader(oai, budget);
            read(reader, static_cast<const xmlNode*>(node->cobj()));
            return static_cast<WSTATUS>(WSTATUS_OK);
        },
        line);
}

/// The replies to account requests carry no records, only a verdict.
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

/// An element of ours as libxml++ shows it, for routines that want it so.
class Wrapped {
public:
    explicit Wrapped(const xmlNode* node) : m_node(const_cast<xmlNode*>(node)) { xmlpp::Node::create_wrapper(m_node); }
    ~Wrapped() { xmlpp::Node::free_wrappers(m_node); }
    Wrapped(const Wrapped&) = delete;
    Wrapped& operator=(const Wrapped&) = delete;
    const xmlpp::Node* get() const { return static_cast<const xmlpp::Node*>(m_node->_private); }

private:
    xmlNode* m_node;
};

template <class Read> WSTATUS readSafely(Read&& read, int line = __builtin_LINE())
{
    return guarded(
        [&] {
            read();
            return static_cast<WSTATUS>(WSTATUS_OK);
        },
        line);
}

} // namespace

WSTATUS replies::parseReply(WKLOAI& oai, const STRING& payload, WContainer<WContent>& contents, unsigned int& count)
{
    return parseList<ContentList>(oai, payload, RecordsIn::DATA, contents, count);
}

WSTATUS replies::parseReply(WKLOAI& oai, const STRING& payload, WContainer<WGroup>& groups, unsigned int& count)
{
    return parseList<GroupList>(oai, payload, RecordsIn::DATA, groups, count);
}

// Comments and galleries stand beside "data", not below it; "data" only says that they are there.
WSTATUS replies::parseReply(WKLOAI& oai, const STRING& payload, WContainer<WComment>& comments, unsigned int& count)
{
    return parseList<CommentList>(oai, payload, RecordsIn::ROOT, comments, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WContent>& contents, unsigned int& count)
{
    return parseReply(*this, payload, contents, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WGroup>& groups, unsigned int& count)
{
    return parseReply(*this, payload, groups, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WComment>& comments, unsigned int& count)
{
    return parseReply(*this, payload, comments, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WKLGallery>& galleries, unsigned int& count)
{
    return parseList<GalleryList>(*this, payload, RecordsIn::ROOT, galleries, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContent& content)
{
    return parsing([&] {
        Budget budget(payload.size());
        const Document document(payload, budget);
        return walkEnvelope(
            document, {}, [](const xmlNode*) {},
            [&](const xmlNode* data) {
                content.setUID(xml::entry(data, "contentId"));
                content.setResourceURL(xml::entry(data, "uploadUrl"));
                return Walk::GO_ON;
            });
    });
}

WSTATUS WKLOAI::parseString(STRING payload)
{
    assert(m_pService != __null);
    return parsing([&] {
        Budget budget(payload.size());
        const Document document(payload, budget);
        const xmlNode* const root = document.root();
        if (!xml::isElement(root, "rsp") || std::string_view(xml::childText(root, "stat")) != "ok")
            return logFailure(WSTATUS_FAILED);
        const STRING userID = isCancelRequested() ? "" : xml::entry(root, "userId");
        m_pService->setUserID(userID);
        return static_cast<WSTATUS>(WSTATUS_OK);
    });
}

WSTATUS WKLOAI::parseAuthStatus(STRING payload, AuthKLCMD*) { return parseSignIn(payload); }

WSTATUS WKLOAI::parseLoginStatus(STRING payload, KLLoginCMD*) { return parseSignIn(payload); }

WSTATUS WKLOAI::parseSignIn(const STRING& payload)
{
    assert(m_pService != __null);
    return parseVerdict(payload, WSTATUS_AUTH_FAILED, [this](const xmlNode* result) {
        m_pService->setUserCredential(Wrapped(result).get(), getContentProvider());
    });
}

WSTATUS WKLOAI::parseRegisterStatus(STRING payload, RegisterKLCMD*)
{
    return parseVerdict(payload, WSTATUS_FAILED, [](const xmlNode*) {});
}

WSTATUS WKLOAI::parseContents(xmlpp::Node* node, WContainer<WContent>& contents, unsigned int& count)
{
    return readList<ContentList>(*this, node, contents, count);
}

WSTATUS WKLOAI::parseContent(xmlpp::Node* node, WContent& content)
{
    return readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.content(element, content); });
}

void WKLOAI::getContentDetail(xmlpp::Node* node, WContent& content)
{
    readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.contentDetail(element, content); });
}

std::list<WMediaResource> WKLOAI::getThumbnails(xmlpp::Node* node)
{
    std::list<WMediaResource> thumbnails;
    readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.thumbnails(element, thumbnails); });
    return thumbnails;
}

WSize WKLOAI::getPhotoResolution(xmlpp::Node* node)
{
    WSize size;
    readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { size = reader.photoResolution(element); });
    return size;
}

WSize WKLOAI::getVideoResolution(xmlpp::Node* node)
{
    WSize size;
    readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { size = reader.videoResolution(element); });
    return size;
}

WSTATUS WKLOAI::parseEvent(xmlpp::Node* node, WEvent& event)
{
    return readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.event(element, event); });
}

WSTATUS WKLOAI::parseMessage(xmlpp::Node* node, WMessage& message)
{
    return readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.message(element, message); });
}

WSTATUS WKLOAI::parseGroup(xmlpp::Node* node, WGroup& group, STRING)
{
    return readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.group(element, group); });
}

void WKLOAI::getGroupImage(xmlpp::Node* node, WGroup& group)
{
    readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.groupImage(element, group); });
}

WSTATUS WKLOAI::parseGroups(xmlpp::Node* node, WContainer<WGroup>& groups, unsigned int& count)
{
    return readList<GroupList>(*this, node, groups, count);
}

WSTATUS WKLOAI::parseGallery(xmlpp::Node* node, WKLGallery& gallery)
{
    return readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.gallery(element, gallery); });
}

WSTATUS WKLOAI::parseGalleries(xmlpp::Node* node, WContainer<WKLGallery>& galleries, unsigned int& count)
{
    return readList<GalleryList>(*this, node, galleries, count);
}

WPerson WKLOAI::getUser(xmlpp::Node* node)
{
    WPerson person;
    readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.shortUser(element, person); });
    return person;
}

WMediaResource WKLOAI::userImage(xmlpp::Node* node)
{
    WMediaResource image;
    readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.userImage(element, image); });
    return image;
}

WMediaResource WKLOAI::getImage(xmlpp::Node* node, STRING name, STRING uid)
{
    WMediaResource image;
    readRecord(*this, node,
               [&](RecordReader& reader, const xmlNode* element) { reader.namedImage(element, name.c_str(), uid, image); });
    return image;
}

std::list<WPerson> WKLOAI::getUsers(xmlpp::Node* node, STRING name)
{
    std::list<WPerson> people;
    readRecord(*this, node,
               [&](RecordReader& reader, const xmlNode* element) { people = reader.fullUsers(element, name.c_str()); });
    return people;
}

WSTATUS WKLOAI::parseComment(xmlpp::Node* node, WComment& comment)
{
    return readRecord(*this, node, [&](RecordReader& reader, const xmlNode* element) { reader.comment(element, comment); });
}

WSTATUS WKLOAI::parseComments(xmlpp::Node* node, WContainer<WComment>& comments, unsigned int& count)
{
    return readList<CommentList>(*this, node, comments, count);
}

STRING WKLOAI::TestString(STRING text)
{
    // As the other form would, in one pass: what is put in holds an ampersand only where the search does not look again.
    STRING escaped;
    escaped.reserve(text.size());
    for (const char c : text) {
        if (c == '&')
            escaped += "&amp;";
        else
            escaped += c;
    }
    return escaped;
}

STRING WKLOAI::TestString(STRING text, STRING from, STRING to)
{
    if (from.empty())
        return text;
    for (std::size_t found = text.find(from); found != STRING::npos; found = text.find(from, found + 1))
        text.replace(found, from.size(), to);
    return text;
}

} // namespace W
