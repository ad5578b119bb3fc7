// SPDX-License-Identifier: MIT
// Contents in their four kinds, with details, thumbnails, events and messages.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

enum ContentField {
    SIZE,
    CREATE_DATE,
    EXT,
    FORMAT,
    RESOLUTION_X,
    RESOLUTION_Y,
    WIDTH,
    HEIGHT,
    DURATION,
    URL,
    THUMBNAIL,
    DESCRIPTION,
    REGISTER_DATE,
    REGISTER_MEMBER,
    COMMENT,
    COMMENT_COUNT,
    EVENT_LINK,
    CONTENT_TYPE,
    TYPE,
    REGISTER_TIME,
    DETAIL,
    CREATOR,
    UPLOAD_URL,
    CREATE_TIME,
};
constexpr FieldNames CONTENT({
    "size",
    "contentCreateDate",
    "contentExt",
    "format",
    "contentResolutionX",
    "contentResolutionY",
    "width",
    "height",
    "contentDurationTime",
    "contentUrl",
    "thumbnail",
    "contentDesc",
    "contentRegisterDate",
    "contentRegisterMember",
    "comment",
    "commentCount",
    "eventLink",
    "contentType",
    "type",
    "contentRegisterTime",
    "contentDetail",
    "contentCreator",
    "uploadUrl",
    "createTime",
});
using ContentFields = Fields<CONTENT.size()>;

enum EventField { EVENT_TITLE, EVENT_TYPE, EVENT_START, EVENT_END, EVENT_DESCRIPTION, EVENT_REGISTER_DATE, EVENT_REGISTER_MEMBER };
constexpr FieldNames EVENT({"eventTitle", "eventType", "eventStartDate", "eventEndDate", "eventDescription", "eventRegisterDate",
                            "eventRegisterMember"});

enum MessageField { MESSAGE_TEXT, MESSAGE_REGISTER_DATE, MESSAGE_REGISTER_MEMBER };
constexpr FieldNames MESSAGE({"messageText", "messageRegisterDate", "messageRegisterMember"});

constexpr FieldNames THUMBNAILS({"contentThumbnail_1920X1080", "contentThumbnail_540X405", "contentThumbnail_116X87"});

} // namespace

void RecordReader::content(const xmlNode* node, WContent& content)
{
    if (!node)
        return;
    content.setContentProvider(provider());
    if (!content.getGalleryID().empty())
        galleryItem(node, content);
    else if (!content.getMsgBoardID().empty())
        boardMessage(node, content);
    else if (!content.getCalendarID().empty())
        calendarEvent(node, content);
    else if (!content.getUID().empty())
        plainContent(node, content);
    forgetAhead();
}

void RecordReader::galleryContent(const xmlNode* node, WContent& content)
{
    content.setContentProvider(provider());
    galleryItem(node, content);
    forgetAhead();
}

void RecordReader::galleryItem(const xmlNode* node, WContent& content)
{
    const ContentFields fields(CONTENT, node);
    content.setSize(str(fields[SIZE]));
    content.setCreateDate(date(fields[CREATE_DATE]));
    content.setExt(str(fields[EXT]));
    content.setFormat(str(fields[FORMAT]));
    content.setResolution(sizeOf(fields[WIDTH], fields[HEIGHT]));
    if (content.getResolution() == WSize())
        content.setResolution(sizeOf(fields[RESOLUTION_X], fields[RESOLUTION_Y]));
    content.setDuration(str(fields[DURATION]));
    content.setResourceURL(str(fields[URL]));
    if (const xmlNode* const child = fields.child(THUMBNAIL))
        thumbnails(child, content.thumbnails());
    content.setDescription(str(fields[DESCRIPTION]));
    content.setRegisterDate(date(fields[REGISTER_DATE]));
    registrant(fields.child(REGISTER_MEMBER), content.user());
    commentsOf(node, content);
    if (!fields.isEmpty(COMMENT_COUNT))
        content.setCommentCount(countOf(fields[COMMENT_COUNT]));
    if (const xmlNode* const eventLink = fields.child(EVENT_LINK))
        linkedEvents(eventLink, content);
    setDownloader(content);
}

void RecordReader::boardMessage(const xmlNode* node, WContent& content)
{
    const ContentFields fields(CONTENT, node);
    content.setSize(str(fields[SIZE]));
    content.setCreateDate(date(fields[CREATE_DATE]));
    content.messages().clear();
    message(node, append(content.messages()));
    commentsOf(node, content);
}

void RecordReader::calendarEvent(const xmlNode* node, WContent& content)
{
    content.events().clear();
    event(node, append(content.events()));
    commentsOf(node, content);
}

void RecordReader::plainContent(const xmlNode* node, WContent& content)
{
    const ContentFields fields(CONTENT, node);
    content.setType(str(fields.isEmpty(CONTENT_TYPE) ? fields[TYPE] : fields[CONTENT_TYPE]));
    content.setRegisterTime(date(fields[REGISTER_TIME]));
    content.setDescription(str(fields[DESCRIPTION]));
    content.setCommentCount(countOf(fields[COMMENT_COUNT]));
    for (const xmlNode* detail = fields.child(DETAIL); detail && !cancelled(); detail = nextOfSameName(detail))
        contentDetail(detail, content);
    // The last detail's address stands; a content that has none yet is where it will be uploaded to.
    if (fields.child(DETAIL) && content.getResourceURL().empty())
        content.setResourceURL(str(fields[UPLOAD_URL]));
    for (const xmlNode* creator = fields.child(CREATOR); creator && !cancelled(); creator = nextOfSameName(creator))
        shortUser(creator, content.user());
}

void RecordReader::commentsOf(const xmlNode* node, WContent& content)
{
    std::list<WComment>& comments = content.comments();
    comments.clear();
    comments.swap(m_comments);
    for (const xmlNode* child = node->children; child && !cancelled(); child = child->next)
        if (xml::isElement(child, "comment"))
            appendComment(child, comments);
    if (cancelled())
        comments.clear();
}

void RecordReader::linkedEvents(const xmlNode* eventLink, WContent& content)
{
    std::list<WEvent>& events = content.events();
    events.clear();
    for (const xmlNode* child = eventLink->children; child && !cancelled(); child = child->next) {
        if (!xml::isElement(child, "contentLink"))
            continue;
        const char* const uid = xml::entry(child, "ID");
        if (*uid == '\0')
            continue;
        WEvent& record = append(events);
        record.setUID(str(uid));
        record.setCalendarUID(str(xml::entry(child, "calendarID")));
        event(child, record);
    }
    if (cancelled())
        events.clear();
}

void RecordReader::contentDetail(const xmlNode* node, WContent& content)
{
    if (!node)
        return;
    const ContentFields fields(CONTENT, node);
    content.setResourceURL(str(fields[URL]));
    for (const xmlNode* child = fields.child(THUMBNAIL); child && !cancelled(); child = nextOfSameName(child))
        thumbnails(child, content.thumbnails());
    content.setSize(str(fields[SIZE]));
    content.setFormat(str(fields[FORMAT]));
    content.setResolution(sizeOf(fields[WIDTH], fields[HEIGHT]));
    content.setCreateTime(date(fields[CREATE_TIME]));
}

void RecordReader::thumbnails(const xmlNode* node, std::list<WMediaResource>& thumbnails)
{
    thumbnails.clear();
    if (!node)
        return;
    const Fields fields(THUMBNAILS, node);
    for (const xmlNode* child = node->children; child && !cancelled(); child = child->next) {
        const int field = xml::isElement(child) ? THUMBNAILS.find(xml::name(child)) : -1;
        if (field < 0)
            continue;
        WMediaResource& thumbnail = append(thumbnails);
        thumbnail.setContentProvider(provider());
        thumbnail.setResourceURL(str(fields[field])); // of a repeated size, always the first
        thumbnail.setUID(str(xml::name(child)));
        setDownloader(thumbnail);
    }
    if (cancelled())
        thumbnails.clear();
}

WSize RecordReader::photoResolution(const xmlNode* node) const
{
    return sizeOf(xml::entry(node, "width"), xml::entry(node, "height"));
}

WSize RecordReader::videoResolution(const xmlNode* node) const
{
    return sizeOf(xml::entry(node, "contentResolutionX"), xml::entry(node, "contentResolutionY"));
}

WSize RecordReader::sizeOf(const char* width, const char* height)
{
    if (*width == '\0' || *height == '\0')
        return WSize();
    return WSize(static_cast<std::int32_t>(number(width)), static_cast<std::int32_t>(number(height)));
}

void RecordReader::event(const xmlNode* node, WEvent& event)
{
    if (!node)
        return;
    const Fields fields(EVENT, node);
    event.setContentProvider(provider());
    event.setTitle(str(fields[EVENT_TITLE]));
    event.setType(str(fields[EVENT_TYPE]));
    WWhen when;
    when.setStartTime(date(fields[EVENT_START]));
    when.setEndTime(date(fields[EVENT_END]));
    event.setWhen(when);
    event.setDescription(str(fields[EVENT_DESCRIPTION]));
    event.setRegisterDate(date(fields[EVENT_REGISTER_DATE]));
    registrant(fields.child(EVENT_REGISTER_MEMBER), event.user());
}

void RecordReader::message(const xmlNode* node, WMessage& message)
{
    if (!node)
        return;
    const Fields fields(MESSAGE, node);
    message.setContentProvider(provider());
    message.setText(str(fields[MESSAGE_TEXT]));
    message.setRegisterDate(date(fields[MESSAGE_REGISTER_DATE]));
    registrant(fields.child(MESSAGE_REGISTER_MEMBER), message.user());
}

} // namespace W::replies
