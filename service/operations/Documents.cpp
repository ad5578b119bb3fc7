// SPDX-License-Identifier: MIT
#include "operations/Documents.h"

#include "pictures/Formats.h"

namespace kinloomd {

namespace {

void writeOk(XmlWriter& xml)
{
    xml.open("result");
    xml.element("stat", "ok");
    xml.close();
}

Reply documentReply(XmlWriter& xml)
{
    Reply reply;
    reply.contentType = DOCUMENT_TYPE;
    reply.body = xml.finish();
    return reply;
}

std::string extensionOf(const std::string& fileName)
{
    const auto dot = fileName.rfind('.');
    return dot == std::string::npos ? std::string() : fileName.substr(dot + 1);
}

} // namespace

const char* typeName(ContentType type)
{
    switch (type) {
    case ContentType::VIDEO:
        return "video";
    case ContentType::MUSIC:
        return "music";
    default:
        return "photo";
    }
}

Reply okReply(ReplyShape shape)
{
    XmlWriter xml(shape);
    xml.open("rsp");
    writeOk(xml);
    xml.open("data");
    xml.close();
    xml.close();
    return documentReply(xml);
}

Reply failureReply(ReplyShape shape, const ServiceError& error, bool plainCode)
{
    const FailureEntry& entry = describe(error.failure());
    XmlWriter xml(shape);
    xml.open("rsp");
    xml.open("result");
    // Some readers look for the code in "result" itself, some in its "err".
    xml.field("code", entry.code);
    xml.field("desc", error.what());
    xml.element("stat", "fail");
    xml.open("err");
    xml.field("code", entry.code);
    xml.field("desc", error.what());
    xml.close();
    xml.close();
    if (plainCode)
        xml.comment(("\nError=" + std::string(entry.code) + "\n").c_str());
    xml.close();
    Reply reply = documentReply(xml);
    reply.status = entry.httpStatus;
    return reply;
}

Reply Documents::withData(const std::function<void(XmlWriter&)>& writeData) const
{
    XmlWriter xml(m_shape);
    beginData(xml);
    writeData(xml);
    xml.close();
    xml.close();
    return documentReply(xml);
}

Reply Documents::account(const Person& person) const
{
    XmlWriter xml(m_shape);
    xml.open("rsp");
    // The outcome and the user stand once more in the root, where readers of a user's identity look for them.
    xml.field("userId", person.id);
    xml.field("stat", "ok");
    writeOk(xml);
    xml.open("data");
    xml.field("userId", person.id);
    xml.field("userName", person.name);
    xml.close();
    xml.close();
    return documentReply(xml);
}

Reply Documents::newGroup(const Group& group, const Person& master) const
{
    return withData([&](XmlWriter& xml) {
        beginGroup(xml, group, {true, true, true});
        writeMember(xml, master);
        xml.close();
    });
}

Reply Documents::feed(const std::vector<Content>& contents, const Include& include) const
{
    return withData([&](XmlWriter& xml) {
        for (const Content& content : contents)
            writeContent(xml, content, include);
    });
}

Reply Documents::comment(const Comment& comment) const
{
    XmlWriter xml(m_shape);
    beginComments(xml);
    writeComment(xml, comment);
    endComments(xml);
    xml.close();
    return documentReply(xml);
}

Reply Documents::uploadSlot(Id content) const
{
    return withData([&](XmlWriter& xml) {
        xml.field("contentId", content);
        xml.field("uploadUrl", m_links.upload(content));
    });
}

void Documents::beginData(XmlWriter& xml)
{
    xml.open("rsp");
    writeOk(xml);
    xml.open("data");
}

void Documents::beginGroups(XmlWriter& xml, const Person& caller) const
{
    beginData(xml);
    if (m_shape == ReplyShape::ATTRIBUTES) {
        xml.open("user");
        xml.field("id", caller.id);
    }
}

void Documents::beginComments(XmlWriter& xml)
{
    xml.open("rsp");
    writeOk(xml);
}

void Documents::endComments(XmlWriter& xml)
{
    xml.open("data");
    xml.close();
}

void Documents::beginGallery(XmlWriter& xml, const Content& content) const
{
    const MediaLinks links = m_links.media(content);
    beginData(xml);
    xml.open("group");
    xml.open("content");
    xml.field("id", content.id);
    xml.field("galleryID", content.group);
    xml.field("contentType", typeName(content.type));
    xml.field("size", content.size);
    xml.field("contentCreateDate", formatTime(content.created));
    xml.optionalField("contentExt", extensionOf(content.fileName));
    xml.field("format", formatEntry(content.format).name);
    xml.field("width", content.width);
    xml.field("height", content.height);
    xml.field("contentUrl", links.original());
    xml.optionalField("contentDesc", content.description);
    xml.field("contentRegisterDate", formatTime(content.uploaded));
    xml.field("commentCount", content.comments);
    writeThumbnails(xml, links);
    writeFullUser(xml, "contentRegisterMember", content.creator);
}

void Documents::beginGroup(XmlWriter& xml, const Group& group, const Include& include) const
{
    xml.open("group");
    if (m_shape == ReplyShape::ATTRIBUTES)
        xml.field("id", group.id);
    xml.field("groupId", group.id);
    xml.field("groupName", group.name);
    xml.optionalField("groupDesc", group.description);
    if (include.usage) {
        xml.field("totalContentCount", group.total);
        xml.field("photoCount", group.photos);
        xml.field("audioCount", group.audios);
        xml.field("videoCount", group.videos);
        xml.field("commentCount", group.comments);
    }
    if (group.cover != 0) {
        xml.open("groupImage");
        xml.field("groupImageUrl", m_links.cover(group, LARGEST_THUMBNAIL));
        xml.open("thumbnail");
        for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
            if (size.of == ThumbnailSize::GROUP)
                xml.field((std::string("groupImageThumbnail_") + size.name).c_str(), m_links.cover(group, size));
        }
        xml.close();
        xml.close();
    }
    if (include.creator || include.member)
        writeShortUser(xml, "groupMaster", group.master);
}

void Documents::writeMember(XmlWriter& xml, const Person& member) const { writeShortUser(xml, "groupMember", member); }

void Documents::writeContent(XmlWriter& xml, const Content& content, const Include& include) const
{
    const MediaLinks links = m_links.media(content);
    xml.open("content");
    xml.field("contentId", content.id);
    xml.field("contentType", typeName(content.type));
    xml.field("contentRegisterTime", formatTime(content.uploaded));
    xml.optionalField("contentDesc", content.description);
    xml.field("commentCount", content.comments);
    xml.open("contentDetail");
    xml.field("contentUrl", links.original());
    xml.field("size", content.size);
    xml.field("format", formatEntry(content.format).name);
    xml.field("width", content.width);
    xml.field("height", content.height);
    xml.field("createTime", formatTime(content.created));
    writeThumbnails(xml, links);
    xml.close();
    if (include.creator || include.member)
        writeShortUser(xml, "contentCreator", content.creator);
    xml.close();
}

void Documents::writeThumbnails(XmlWriter& xml, const MediaLinks& links) const
{
    xml.open("thumbnail");
    for (const ThumbnailSize& size : THUMBNAIL_SIZES) {
        // Readers find the sizes by their elements, so these are elements in both shapes.
        if (size.of == ThumbnailSize::CONTENT)
            xml.element((std::string("contentThumbnail_") + size.name).c_str(), links.thumbnail(size));
    }
    xml.close();
}

void Documents::writeShortUser(XmlWriter& xml, const char* name, const Person& person) const
{
    xml.open(name);
    xml.field("userId", person.id);
    xml.field("userName", person.name);
    const std::string image = m_links.personImage(person);
    if (!image.empty()) {
        const bool nested = m_shape == ReplyShape::ATTRIBUTES;
        if (nested)
            xml.open("userImage");
        xml.open("thumbnail");
        xml.field("userImageThumbnail_72X72", image);
        xml.close();
        if (nested)
            xml.close();
    }
    xml.close();
}

void Documents::writeFullUser(XmlWriter& xml, const char* name, const Person& person) const
{
    xml.open(name);
    xml.field("id", person.id);
    xml.field("userName", person.name);
    xml.optionalField("phoneNumber", person.phone);
    xml.optionalField("userImage", m_links.personImage(person));
    xml.field("contentDelFlag", "N");
    xml.field("userRegisterDate", formatTime(person.created));
    xml.open("userStatus");
    if (m_shape == ReplyShape::ATTRIBUTES)
        xml.field("code", "1");
    xml.text("active");
    if (m_shape == ReplyShape::ELEMENTS)
        xml.field("code", "1");
    xml.close();
    xml.close();
}

void Documents::writeComment(XmlWriter& xml, const Comment& comment) const
{
    xml.open("comment");
    xml.field("commentId", comment.id);
    xml.field("commentSize", static_cast<std::int64_t>(comment.text.size()));
    xml.field("commentText", comment.text);
    xml.field("commentRegisterDate", formatTime(comment.created));
    writeShortUser(xml, "commentCreator", comment.author);
    xml.close();
}

void Documents::writeEvent(XmlWriter& xml, Id group, const Event& event) const
{
    xml.open("contentLink");
    xml.field("ID", event.id);
    xml.field("calendarID", group);
    xml.field("eventTitle", event.title);
    xml.optionalField("eventType", event.type);
    xml.field("eventStartDate", formatTime(event.starts));
    xml.field("eventEndDate", formatTime(event.ends));
    xml.optionalField("eventDescription", event.description);
    xml.field("eventRegisterDate", formatTime(event.created));
    writeFullUser(xml, "eventRegisterMember", event.member);
    xml.close();
}

} // namespace kinloomd
