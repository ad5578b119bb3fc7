// SPDX-License-Identifier: MIT
// Contents in their four kinds, with details, thumbnails, events and messages.
#include "WKLOAI/replies/Fields.h"
#include "WKLOAI/replies/RecordReader.h"

namespace W::replies {

namespace {

#define CONTENT_FIELDS(FIELD)                                                                                                      \
    FIELD(SIZE, "size")                                                                                                            \
    FIELD(CREATE_DATE, "contentCreateDate")                                                                                        \
    FIELD(EXT, "contentExt")                                                                                                       \
    FIELD(FORMAT, "format")                                                                                                        \
    FIELD(RESOLUTION_X, "contentResolutionX")                                                                                      \
    FIELD(RESOLUTION_Y, "contentResolutionY")                                                                                      \
    FIELD(WIDTH, "width")                                                                                                          \
    FIELD(HEIGHT, "height")                                                                                                        \
    FIELD(DURATION, "contentDurationTime")                                                                                         \
    FIELD(URL, "contentUrl")                                                                                                       \
    FIELD(THUMBNAIL, "thumbnail")                                                                                                  \
    FIELD(DESCRIPTION, "contentDesc")                                                                                              \
    FIELD(REGISTER_DATE, "contentRegisterDate")                                                                                    \
    FIELD(REGISTER_MEMBER, "contentRegisterMember")                                                                                \
    FIELD(COMMENT, "comment")                                                                                                      \
    FIELD(COMMENT_COUNT, "commentCount")                                                                                           \
    FIELD(EVENT_LINK, "eventLink")                                                                                                 \
    FIELD(CONTENT_TYPE, "contentType")                                                                                             \
    FIELD(TYPE, "type")                                                                                                            \
    FIELD(REGISTER_TIME, "contentRegisterTime")                                                                                    \
    FIELD(DETAIL, "contentDetail")                                                                                                 \
    FIELD(CREATOR, "contentCreator")                                                                                               \
    FIELD(UPLOAD_URL, "uploadUrl")                                                                                                 \
    FIELD(CREATE_TIME, "createTime")
WKLOAI_FIELD_TABLE(ContentField, CONTENT, CONTENT_FIELDS)
using ContentFields = Fields<CONTENT.size()>;

#define EVENT_FIELDS(FIELD)                                                                                                        \
    FIELD(EVENT_TITLE, "eventTitle")                                                                                               \
    FIELD(EVENT_TYPE, "eventType")                                                                                                 \
    FIELD(EVENT_START, "eventStartDate")                                                                                           \
    FIELD(EVENT_END, "eventEndDate")                                                                                               \
    FIELD(EVENT_DESCRIPTION, "eventDescription")                                                                                   \
    FIELD(EVENT_REGISTER_DATE, "eventRegisterDate")                                                                                \
    FIELD(EVENT_REGISTER_MEMBER, "eventRegisterMember")
WKLOAI_FIELD_TABLE(EventField, EVENT, EVENT_FIELDS)

#define MESSAGE_FIELDS(FIELD)                                                                                                      \
    FIELD(MESSAGE_TEXT, "messageText")                                                                                             \
    FIELD(MESSAGE_REGISTER_DATE, "messageRegisterDate")                                                                            \
    FIELD(MESSAGE_REGISTER_MEMBER, "messageRegisterMember")
WKLOAI_FIELD_TABLE(MessageField, MESSAGE, MESSAGE_FIELDS)

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
    const WSize photo = sizeOf(fields[WIDTH], fields[HEIGHT]);
    const bool isUnknown = photo.getWidth() == 0 && photo.getHeight() == 0;
    content.setResolution(isUnknown ? sizeOf(fields[RESOLUTION_X], fields[RESOLUTION_Y]) : photo);
    content.setDuration(str(fields[DURATION]));
    content.setResourceURL(str(fields[URL]));
    if (const xmlNode* const child = fields.child(THUMBNAIL))
        content.setThumbnails(thumbnails(child));
    content.setDescription(str(fields[DESCRIPTION]));
    content.setRegisterDate(date(fields[REGISTER_DATE]));
    if (const xmlNode* const user = registrant(fields.child(REGISTER_MEMBER)))
        content.setUser(fullUser(user));
    content.setComments(commentsOf(node));
    if (!fields.isEmpty(COMMENT_COUNT))
        content.setCommentCount(countOf(fields[COMMENT_COUNT]));
    if (const xmlNode* const eventLink = fields.child(EVENT_LINK))
        content.setEvents(linkedEvents(eventLink));
    setDownloader(content);
}

void RecordReader::boardMessage(const xmlNode* node, WContent& content)
{
    const ContentFields fields(CONTENT, node);
    content.setSize(str(fields[SIZE]));
    content.setCreateDate(date(fields[CREATE_DATE]));
    std::list<WMessage> messages;
    message(node, append(messages));
    content.setMessages(std::move(messages));
    content.setComments(commentsOf(node));
}

void RecordReader::calendarEvent(const xmlNode* node, WContent& content)
{
    std::list<WEvent> events;
    event(node, append(events));
    content.setEvents(std::move(events));
    content.setComments(commentsOf(node));
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
        content.setUser(shortUser(creator));
}

std::list<WComment> RecordReader::commentsOf(const xmlNode* node)
{
    std::list<WComment> comments;
    comments.swap(m_comments);
    for (const xmlNode* child = node->children; child && !cancelled(); child = child->next)
        if (xml::isElement(child, "comment"))
            appendComment(child, comments);
    if (cancelled())
        comments.clear();
    return comments;
}

std::list<WEvent> RecordReader::linkedEvents(const xmlNode* eventLink)
{
    std::list<WEvent> events;
    for (const xmlNode* child = eventLink->children; child && !cancelled(); child = child->next) {
        if (!xml::isElement(child, "contentLink"))
            continue;
        const xml::Value uid = xml::entry(child, "ID");
        if (uid.isEmpty())
            continue;
        WEvent& record = append(events);
        record.setUID(str(uid));
        record.setCalendarUID(str(xml::entry(child, "calendarID")));
        event(child, record);
    }
    if (cancelled())
        events.clear();
    return events;
}

void RecordReader::contentDetail(const xmlNode* node, WContent& content)
{
    if (!node)
        return;
    const ContentFields fields(CONTENT, node);
    content.setResourceURL(str(fields[URL]));
    for (const xmlNode* child = fields.child(THUMBNAIL); child && !cancelled(); child = nextOfSameName(child))
        content.setThumbnails(thumbnails(child));
    content.setSize(str(fields[SIZE]));
    content.setFormat(str(fields[FORMAT]));
    content.setResolution(sizeOf(fields[WIDTH], fields[HEIGHT]));
    content.setCreateTime(date(fields[CREATE_TIME]));
}

std::list<WMediaResource> RecordReader::thumbnails(const xmlNode* node)
{
    std::list<WMediaResource> thumbnails;
    if (!node)
        return thumbnails;
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
    return thumbnails;
}

WSize RecordReader::photoResolution(const xmlNode* node) const
{
    return sizeOf(xml::entry(node, "width").text(), xml::entry(node, "height").text());
}

WSize RecordReader::videoResolution(const xmlNode* node) const
{
    return sizeOf(xml::entry(node, "contentResolutionX").text(), xml::entry(node, "contentResolutionY").text());
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
    if (const xmlNode* const user = registrant(fields.child(EVENT_REGISTER_MEMBER)))
        event.setUser(fullUser(user));
}

void RecordReader::message(const xmlNode* node, WMessage& message)
{
    if (!node)
        return;
    const Fields fields(MESSAGE, node);
    message.setContentProvider(provider());
    message.setText(str(fields[MESSAGE_TEXT]));
    message.setRegisterDate(date(fields[MESSAGE_REGISTER_DATE]));
    if (const xmlNode* const user = registrant(fields.child(MESSAGE_REGISTER_MEMBER)))
        message.setUser(fullUser(user));
}

} // namespace W::replies
