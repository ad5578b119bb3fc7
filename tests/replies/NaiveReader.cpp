// SPDX-License-Identifier: MIT
#include "replies/NaiveReader.h"

#include <cstdlib>

namespace test {

using namespace W;

namespace {

bool isElement(const xmlpp::Node* node, const char* name)
{
    return dynamic_cast<const xmlpp::Element*>(node) && node->get_name() == name;
}

} // namespace

// --- Look-up

xmlpp::Node::NodeList NaiveReader::elements(Node* node, const char* name) const
{
    if (m_lookUp == LookUp::BY_NAME)
        return node->get_children(name);
    Node::NodeList found;
    for (Node* const child : node->get_children())
        if (isElement(child, name))
            found.push_back(child);
    return found;
}

xmlpp::Node* NaiveReader::first(Node* node, const char* name) const
{
    const Node::NodeList found = elements(node, name);
    return found.empty() ? nullptr : found.front();
}

std::string NaiveReader::childText(Node* node, const char* name) const
{
    const auto* const element = dynamic_cast<const xmlpp::Element*>(first(node, name));
    const xmlpp::TextNode* const text = element ? element->get_child_text() : nullptr;
    return text ? std::string(text->get_content()) : std::string();
}

std::string NaiveReader::entry(Node* node, const char* name) const
{
    const auto* const element = dynamic_cast<const xmlpp::Element*>(node);
    if (!element)
        return childText(node, name);
    for (const xmlpp::Attribute* const attribute : element->get_attributes())
        if (attribute->get_name() == name && attribute->get_namespace_prefix().empty())
            return attribute->get_value();
    return childText(node, name);
}

WDateTime NaiveReader::date(Node* node, const char* name) const
{
    return WDateTime::fromString(entry(node, name), WDateTime::FORMAT_ISO8601, WDateTime::ZONE_UTC);
}

long NaiveReader::number(Node* node, const char* name) const { return std::strtol(entry(node, name).c_str(), nullptr, 10); }

WSize NaiveReader::size(Node* node, const char* width, const char* height) const
{
    if (entry(node, width).empty() || entry(node, height).empty())
        return WSize();
    return WSize(static_cast<std::int32_t>(number(node, width)), static_cast<std::int32_t>(number(node, height)));
}

void NaiveReader::hook(WMediaResource& resource) const { resource.setDownloader(m_context.downloader, m_context.downloaderArg); }

// --- Envelope

template <class List> int NaiveReader::walk(const std::string& body, bool below, List&& list) const
{
    xmlpp::DomParser parser;
    try {
        parser.parse_memory_raw(reinterpret_cast<const unsigned char*>(body.data()), body.size());
    } catch (const std::exception&) {
        return -16;
    }
    Node* const root = parser.get_document() ? parser.get_document()->get_root_node() : nullptr;
    if (!root || root->get_name() != "rsp" || root->get_children().empty())
        return -16;
    for (Node* const child : root->get_children()) {
        if (isElement(child, "result")) {
            if (childText(child, "stat") == "fail")
                return -16;
        } else if (isElement(child, "data")) {
            list(below ? child : root);
            return 0;
        }
    }
    return 0;
}

int NaiveReader::read(const std::string& body, WContainer<WContent>& into, unsigned int& count) const
{
    return walk(body, true, [&](Node* node) { contents(node, into, count); });
}

int NaiveReader::read(const std::string& body, WContainer<WGroup>& into, unsigned int& count) const
{
    return walk(body, true, [&](Node* node) { groups(node, into, count); });
}

int NaiveReader::read(const std::string& body, WContainer<WComment>& into, unsigned int& count) const
{
    return walk(body, false, [&](Node* node) { comments(node, into, count); });
}

int NaiveReader::read(const std::string& body, WContainer<WKLGallery>& into, unsigned int& count) const
{
    return walk(body, false, [&](Node* node) { galleries(node, into, count); });
}

// --- Contents

void NaiveReader::contents(Node* data, WContainer<WContent>& into, unsigned int& count) const
{
    const Node::NodeList children = data->get_children();
    if (children.empty())
        return;
    count = 0;
    const auto add = [&](Node* node, WContent record) {
        if (record.getUID().empty())
            return;
        content(node, record);
        into.data().push_back(record);
        ++count;
    };
    for (Node* const child : children) {
        if (isElement(child, "content") || isElement(child, "contentId")) {
            Node* const node = isElement(child, "content") ? child : data;
            WContent record;
            record.setUID(entry(node, "contentId"));
            add(node, record);
        } else if (isElement(child, "group")) {
            for (Node* const item : elements(child, "content")) {
                WContent record;
                record.setUID(entry(item, "id"));
                record.setGalleryID(entry(item, "galleryID"));
                record.setMsgBoardID(entry(item, "messageBoardID"));
                record.setCalendarID(entry(item, "calendarID"));
                add(item, record);
            }
        }
    }
    into.setCount(static_cast<std::int32_t>(count));
}

void NaiveReader::content(Node* node, WContent& record) const
{
    record.setContentProvider(m_context.provider);
    if (!record.getGalleryID().empty()) {
        galleryItem(node, record);
    } else if (!record.getMsgBoardID().empty()) {
        record.setSize(entry(node, "size"));
        record.setCreateDate(date(node, "contentCreateDate"));
        record.setMessages({message(node)});
        record.setComments(commentsOf(node));
    } else if (!record.getCalendarID().empty()) {
        record.setEvents({event(node, WEvent())});
        record.setComments(commentsOf(node));
    } else if (!record.getUID().empty()) {
        const std::string type = entry(node, "contentType");
        record.setType(type.empty() ? entry(node, "type") : type);
        record.setRegisterTime(date(node, "contentRegisterTime"));
        record.setDescription(entry(node, "contentDesc"));
        record.setCommentCount(static_cast<UINT32>(number(node, "commentCount")));
        for (Node* const child : node->get_children()) {
            if (isElement(child, "contentDetail")) {
                detail(child, record);
                if (record.getResourceURL().empty())
                    record.setResourceURL(entry(node, "uploadUrl"));
            } else if (isElement(child, "contentCreator")) {
                record.setUser(shortUser(child));
            }
        }
    }
}

void NaiveReader::galleryItem(Node* node, WContent& record) const
{
    record.setSize(entry(node, "size"));
    record.setCreateDate(date(node, "contentCreateDate"));
    record.setExt(entry(node, "contentExt"));
    record.setFormat(entry(node, "format"));
    record.setResolution(size(node, "width", "height"));
    if (record.getResolution().getWidth() == 0 && record.getResolution().getHeight() == 0)
        record.setResolution(size(node, "contentResolutionX", "contentResolutionY"));
    record.setDuration(entry(node, "contentDurationTime"));
    record.setResourceURL(entry(node, "contentUrl"));
    if (Node* const thumbnail = first(node, "thumbnail"))
        record.setThumbnails(thumbnails(thumbnail));
    record.setDescription(entry(node, "contentDesc"));
    record.setRegisterDate(date(node, "contentRegisterDate"));
    const std::list<WPerson> users = fullUsers(node, "contentRegisterMember");
    if (!users.empty())
        record.setUser(users.front());
    record.setComments(commentsOf(node));
    if (!entry(node, "commentCount").empty())
        record.setCommentCount(static_cast<UINT32>(number(node, "commentCount")));
    if (Node* const eventLink = first(node, "eventLink")) {
        std::list<WEvent> events;
        for (Node* const link : elements(eventLink, "contentLink")) {
            WEvent linked;
            linked.setUID(entry(link, "ID"));
            linked.setCalendarUID(entry(link, "calendarID"));
            if (!linked.getUID().empty())
                events.push_back(event(link, linked));
        }
        record.setEvents(events);
    }
    hook(record);
}

void NaiveReader::detail(Node* node, WContent& record) const
{
    record.setResourceURL(entry(node, "contentUrl"));
    for (Node* const thumbnail : elements(node, "thumbnail"))
        record.setThumbnails(thumbnails(thumbnail));
    record.setSize(entry(node, "size"));
    record.setFormat(entry(node, "format"));
    record.setResolution(size(node, "width", "height"));
    record.setCreateTime(date(node, "createTime"));
}

std::list<WMediaResource> NaiveReader::thumbnails(Node* node) const
{
    std::list<WMediaResource> found;
    for (Node* const child : node->get_children())
        for (const char* const name : {"contentThumbnail_1920X1080", "contentThumbnail_540X405", "contentThumbnail_116X87"}) {
            if (!isElement(child, name))
                continue;
            WMediaResource thumbnail;
            thumbnail.setContentProvider(m_context.provider);
            thumbnail.setResourceURL(entry(node, name));
            thumbnail.setUID(name);
            hook(thumbnail);
            found.push_back(thumbnail);
        }
    return found;
}

WEvent NaiveReader::event(Node* node, WEvent record) const
{
    record.setContentProvider(m_context.provider);
    record.setTitle(entry(node, "eventTitle"));
    record.setType(entry(node, "eventType"));
    WWhen when;
    when.setStartTime(date(node, "eventStartDate"));
    when.setEndTime(date(node, "eventEndDate"));
    record.setWhen(when);
    record.setDescription(entry(node, "eventDescription"));
    record.setRegisterDate(date(node, "eventRegisterDate"));
    const std::list<WPerson> users = fullUsers(node, "eventRegisterMember");
    if (!users.empty())
        record.setUser(users.front());
    return record;
}

WMessage NaiveReader::message(Node* node) const
{
    WMessage record;
    record.setContentProvider(m_context.provider);
    record.setText(entry(node, "messageText"));
    record.setRegisterDate(date(node, "messageRegisterDate"));
    const std::list<WPerson> users = fullUsers(node, "messageRegisterMember");
    if (!users.empty())
        record.setUser(users.front());
    return record;
}

// --- Groups and galleries

WGroup NaiveReader::group(Node* node) const
{
    WGroup record;
    record.setContentProvider(m_context.provider);
    record.setUID(entry(node, "groupId"));
    record.setName(entry(node, "groupName"));
    record.setDescription(entry(node, "groupDesc"));
    for (Node* const child : node->get_children()) {
        if (isElement(child, "groupImage")) {
            record.setImageUrl(entry(child, "groupImageUrl"));
            for (Node* const thumbnail : elements(child, "thumbnail"))
                record.setImage(image(thumbnail, "groupImageThumbnail_274X204"));
        } else if (isElement(child, "groupMaster")) {
            record.setMaster(shortUser(child));
        }
    }
    record.setTotalCount(static_cast<UINT32>(number(node, "totalContentCount")));
    record.setPhotoCount(static_cast<UINT32>(number(node, "photoCount")));
    record.setAudioCount(static_cast<UINT32>(number(node, "audioCount")));
    record.setVideoCount(static_cast<UINT32>(number(node, "videoCount")));
    record.setCommentCount(static_cast<UINT32>(number(node, "commentCount")));
    return record;
}

void NaiveReader::groups(Node* data, WContainer<WGroup>& into, unsigned int& count) const
{
    const Node::NodeList children = data->get_children();
    if (children.empty())
        return;
    count = 0;
    for (Node* const child : children) {
        if (isElement(child, "group")) {
            into.data().push_back(group(child));
            ++count;
        } else if (isElement(child, "user")) {
            for (Node* const member : elements(child, "group")) {
                into.data().push_back(group(member));
                ++count;
            }
        } else if (isElement(child, "groupId")) {
            WGroup created;
            created.setUID(entry(data, "groupId"));
            into.data().push_back(created);
        }
    }
    into.setCount(static_cast<std::int32_t>(count));
}

void NaiveReader::galleries(Node* root, WContainer<WKLGallery>& into, unsigned int& count) const
{
    Node* const group = first(root, "group");
    if (!group || group->get_children().empty())
        return;
    count = 0;
    for (Node* const child : elements(group, "gallery")) {
        WKLGallery record;
        record.setUID(entry(child, "id"));
        if (record.getUID().empty())
            continue;
        record.setContentProvider(m_context.provider);
        record.setDate(date(child, "galleryDate"));
        record.setDescription(entry(child, "galleryDescription"));
        record.setRegisterDate(date(child, "galleryRegisterDate"));
        std::list<WContent> items;
        for (Node* const item : elements(child, "content")) {
            WContent itemRecord;
            itemRecord.setUID(entry(item, "id"));
            itemRecord.setGalleryID(record.getUID());
            if (itemRecord.getUID().empty())
                continue;
            content(item, itemRecord);
            items.push_back(itemRecord);
        }
        record.setContents(items);
        into.data().push_back(record);
        ++count;
    }
    into.setCount(static_cast<std::int32_t>(count));
}

// --- People and comments

WPerson NaiveReader::shortUser(Node* node) const
{
    WPerson person;
    person.setUID(entry(node, "userId"));
    person.setName(entry(node, "userName"));
    for (Node* const child : node->get_children()) {
        if (isElement(child, "thumbnail")) {
            person.setPhoto(image(child, "userImageThumbnail_72X72"));
        } else if (isElement(child, "userImage")) {
            for (Node* const thumbnail : elements(child, "thumbnail"))
                person.setPhoto(image(thumbnail, "userImageThumbnail_72X72"));
        }
    }
    return person;
}

WMediaResource NaiveReader::image(Node* node, const char* field) const
{
    WMediaResource resource;
    resource.setContentProvider(m_context.provider);
    resource.setResourceURL(entry(node, field));
    if (!resource.getResourceURL().empty()) {
        resource.setUID(field);
        hook(resource);
    }
    return resource;
}

std::list<WPerson> NaiveReader::fullUsers(Node* node, const char* name) const
{
    std::list<WPerson> people;
    for (Node* const child : elements(node, name)) {
        WPerson person;
        person.setUID(entry(child, "id"));
        person.setName(entry(child, "userName"));
        person.setPhoneNumber(entry(child, "phoneNumber"));
        WMediaResource photo;
        photo.setContentProvider(m_context.provider);
        photo.setUID(person.getUID());
        photo.setResourceURL(entry(child, "userImage"));
        if (!photo.getResourceURL().empty())
            hook(photo);
        person.setPhoto(photo);
        person.setStatus(entry(child, "userStatus"));
        if (Node* const status = first(child, "userStatus"))
            person.setStatusCode(entry(status, "code"));
        const std::string flag = entry(child, "contentDelFlag");
        person.setDelFlag(flag.empty() ? entry(child, "commentDelFlag") : flag);
        person.setRegisterDate(date(child, "userRegisterDate"));
        people.push_back(person);
    }
    return people;
}

void NaiveReader::comments(Node* node, WContainer<WComment>& into, unsigned int& count) const
{
    const Node::NodeList children = node->get_children();
    if (children.empty())
        return;
    count = 0;
    for (Node* const child : children) {
        if (!isElement(child, "comment") || entry(child, "commentId").empty())
            continue;
        WComment record;
        record.setUID(entry(child, "commentId"));
        record.setContentProvider(m_context.provider);
        record.setSize(entry(child, "commentSize"));
        record.setComment(entry(child, "commentText"));
        record.setRegisterDate(date(child, "commentRegisterDate"));
        for (Node* const creator : elements(child, "commentCreator"))
            record.setUser(shortUser(creator));
        into.data().push_back(record);
        ++count;
    }
    into.setCount(static_cast<std::int32_t>(count));
}

std::list<WComment> NaiveReader::commentsOf(Node* node) const
{
    WContainer<WComment> found;
    unsigned int count = 0;
    comments(node, found, count);
    return found.getData();
}

} // namespace test
