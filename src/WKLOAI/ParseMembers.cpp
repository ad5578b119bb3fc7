// SPDX-License-Identifier: MIT
// The facade's parse routines, and its two text replacements.
#include "WKLOAI/ReadingFor.h"
#include "WKLOAI/replies/Replies.h"

#include <cassert>

namespace W {

using namespace replies;

namespace {

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

} // namespace

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WContent>& contents, unsigned int& count)
{
    return parseReply(readingFor(*this), payload, contents, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WGroup>& groups, unsigned int& count)
{
    return parseReply(readingFor(*this), payload, groups, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WComment>& comments, unsigned int& count)
{
    return parseReply(readingFor(*this), payload, comments, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContainer<WKLGallery>& galleries, unsigned int& count)
{
    return parseReply(readingFor(*this), payload, galleries, count);
}

WSTATUS WKLOAI::parseString(STRING payload, WContent& content) { return parseUploadSlot(payload, content); }

WSTATUS WKLOAI::parseString(STRING payload)
{
    assert(m_pService != __null);
    std::optional<STRING> userID;
    const WSTATUS status = parseUserIdentity(payload, userID);
    if (!userID)
        return status;
    return parsing([&] {
        m_pService->setUserID(isCancelRequested() ? STRING() : *userID);
        return wstatus::OK;
    });
}

WSTATUS WKLOAI::parseAuthStatus(STRING payload, AuthKLCMD*) { return parseSignIn(payload); }

WSTATUS WKLOAI::parseLoginStatus(STRING payload, KLLoginCMD*) { return parseSignIn(payload); }

WSTATUS WKLOAI::parseSignIn(const STRING& payload)
{
    assert(m_pService != __null);
    return parseVerdict(payload, wstatus::AUTH_FAILED, [this](const xmlNode* result) {
        m_pService->setUserCredential(Wrapped(result).get(), getContentProvider());
    });
}

WSTATUS WKLOAI::parseRegisterStatus(STRING payload, RegisterKLCMD*)
{
    return parseVerdict(payload, wstatus::FAILED, [](const xmlNode*) {});
}

WSTATUS WKLOAI::parseContents(xmlpp::Node* node, WContainer<WContent>& contents, unsigned int& count)
{
    return readTree(readingFor(*this), node, contents, count);
}

WSTATUS WKLOAI::parseContent(xmlpp::Node* node, WContent& content)
{
    return readRecord(readingFor(*this), node,
                      [&](RecordReader& reader, const xmlNode* element) { reader.content(element, content); });
}

void WKLOAI::getContentDetail(xmlpp::Node* node, WContent& content)
{
    readRecord(readingFor(*this), node,
               [&](RecordReader& reader, const xmlNode* element) { reader.contentDetail(element, content); });
}

std::list<WMediaResource> WKLOAI::getThumbnails(xmlpp::Node* node)
{
    std::list<WMediaResource> thumbnails;
    readRecord(readingFor(*this), node,
               [&](RecordReader& reader, const xmlNode* element) { thumbnails = reader.thumbnails(element); });
    return thumbnails;
}

WSize WKLOAI::getPhotoResolution(xmlpp::Node* node)
{
    WSize size;
    readRecord(readingFor(*this), node,
               [&](RecordReader& reader, const xmlNode* element) { size = reader.photoResolution(element); });
    return size;
}

WSize WKLOAI::getVideoResolution(xmlpp::Node* node)
{
    WSize size;
    readRecord(readingFor(*this), node,
               [&](RecordReader& reader, const xmlNode* element) { size = reader.videoResolution(element); });
    return size;
}

WSTATUS WKLOAI::parseEvent(xmlpp::Node* node, WEvent& event)
{
    return readRecord(readingFor(*this), node, [&](RecordReader& reader, const xmlNode* element) { reader.event(element, event); });
}

WSTATUS WKLOAI::parseMessage(xmlpp::Node* node, WMessage& message)
{
    return readRecord(readingFor(*this), node,
                      [&](RecordReader& reader, const xmlNode* element) { reader.message(element, message); });
}

WSTATUS WKLOAI::parseGroup(xmlpp::Node* node, WGroup& group, STRING)
{
    return readRecord(readingFor(*this), node, [&](RecordReader& reader, const xmlNode* element) { reader.group(element, group); });
}

void WKLOAI::getGroupImage(xmlpp::Node* node, WGroup& group)
{
    readRecord(readingFor(*this), node, [&](RecordReader& reader, const xmlNode* element) { reader.groupImage(element, group); });
}

WSTATUS WKLOAI::parseGroups(xmlpp::Node* node, WContainer<WGroup>& groups, unsigned int& count)
{
    return readTree(readingFor(*this), node, groups, count);
}

WSTATUS WKLOAI::parseGallery(xmlpp::Node* node, WKLGallery& gallery)
{
    return readRecord(readingFor(*this), node,
                      [&](RecordReader& reader, const xmlNode* element) { reader.gallery(element, gallery); });
}

WSTATUS WKLOAI::parseGalleries(xmlpp::Node* node, WContainer<WKLGallery>& galleries, unsigned int& count)
{
    return readTree(readingFor(*this), node, galleries, count);
}

WPerson WKLOAI::getUser(xmlpp::Node* node)
{
    WPerson person;
    readRecord(readingFor(*this), node, [&](RecordReader& reader, const xmlNode* element) { person = reader.shortUser(element); });
    return person;
}

WMediaResource WKLOAI::userImage(xmlpp::Node* node)
{
    WMediaResource image;
    readRecord(readingFor(*this), node, [&](RecordReader& reader, const xmlNode* element) { image = reader.userImage(element); });
    return image;
}

WMediaResource WKLOAI::getImage(xmlpp::Node* node, STRING name, STRING uid)
{
    WMediaResource image;
    readRecord(readingFor(*this), node,
               [&](RecordReader& reader, const xmlNode* element) { image = reader.namedImage(element, name.c_str(), uid); });
    return image;
}

std::list<WPerson> WKLOAI::getUsers(xmlpp::Node* node, STRING name)
{
    std::list<WPerson> people;
    readRecord(readingFor(*this), node,
               [&](RecordReader& reader, const xmlNode* element) { people = reader.fullUsers(element, name.c_str()); });
    return people;
}

WSTATUS WKLOAI::parseComment(xmlpp::Node* node, WComment& comment)
{
    return readRecord(readingFor(*this), node,
                      [&](RecordReader& reader, const xmlNode* element) { reader.comment(element, comment); });
}

WSTATUS WKLOAI::parseComments(xmlpp::Node* node, WContainer<WComment>& comments, unsigned int& count)
{
    return readTree(readingFor(*this), node, comments, count);
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
