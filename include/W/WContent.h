// SPDX-License-Identifier: MIT
/// \file Contents: photos, videos, music, messages and events that a group shares.
#ifndef W_WCONTENT_H
#define W_WCONTENT_H

#include "W/WComment.h"
#include "W/WEvent.h"
#include "W/WMessage.h"
#include "W/WSize.h"

#include <list>
#include <utility>

namespace W {

/// One content of a group. Which fields are filled depends on the reply that it came from. What it holds whole, a record or a
/// list, is taken by value: give it up with std::move where it is not needed any more.
class WContent : public WMediaResource {
public:
    void setType(const STRING& type) { m_type = type; }
    const STRING& getType() const { return m_type; }

    /// The size of the file as the service writes it, uninterpreted.
    void setSize(const STRING& size) { m_size = size; }
    const STRING& getSize() const { return m_size; }

    void setExt(const STRING& ext) { m_ext = ext; }
    const STRING& getExt() const { return m_ext; }

    void setFormat(const STRING& format) { m_format = format; }
    const STRING& getFormat() const { return m_format; }

    /// The playing time as the service writes it, uninterpreted.
    void setDuration(const STRING& duration) { m_duration = duration; }
    const STRING& getDuration() const { return m_duration; }

    void setDescription(const STRING& description) { m_description = description; }
    const STRING& getDescription() const { return m_description; }

    void setCreateDate(const WDateTime& date) { m_createDate = date; }
    const WDateTime& getCreateDate() const { return m_createDate; }

    void setCreateTime(const WDateTime& time) { m_createTime = time; }
    const WDateTime& getCreateTime() const { return m_createTime; }

    void setRegisterDate(const WDateTime& date) { m_registerDate = date; }
    const WDateTime& getRegisterDate() const { return m_registerDate; }

    void setRegisterTime(const WDateTime& time) { m_registerTime = time; }
    const WDateTime& getRegisterTime() const { return m_registerTime; }

    void setResolution(const WSize& resolution) { m_resolution = resolution; }
    const WSize& getResolution() const { return m_resolution; }

    void setCommentCount(UINT32 count) { m_commentCount = count; }
    UINT32 getCommentCount() const { return m_commentCount; }

    void setGalleryID(const STRING& id) { m_galleryID = id; }
    const STRING& getGalleryID() const { return m_galleryID; }

    void setMsgBoardID(const STRING& id) { m_msgBoardID = id; }
    const STRING& getMsgBoardID() const { return m_msgBoardID; }

    void setCalendarID(const STRING& id) { m_calendarID = id; }
    const STRING& getCalendarID() const { return m_calendarID; }

    void setUser(WPerson user) { m_user = std::move(user); }
    const WPerson& getUser() const { return m_user; }

    void setThumbnails(std::list<WMediaResource> thumbnails) { m_thumbnails = std::move(thumbnails); }
    const std::list<WMediaResource>& getThumbnails() const { return m_thumbnails; }

    void setComments(std::list<WComment> comments) { m_comments = std::move(comments); }
    const std::list<WComment>& getComments() const { return m_comments; }

    void setMessages(std::list<WMessage> messages) { m_messages = std::move(messages); }
    const std::list<WMessage>& getMessages() const { return m_messages; }

    void setEvents(std::list<WEvent> events) { m_events = std::move(events); }
    const std::list<WEvent>& getEvents() const { return m_events; }

private:
    STRING m_type;
    STRING m_size;
    STRING m_ext;
    STRING m_format;
    STRING m_duration;
    STRING m_description;
    WDateTime m_createDate;
    WDateTime m_createTime;
    WDateTime m_registerDate;
    WDateTime m_registerTime;
    WSize m_resolution;
    UINT32 m_commentCount = 0;
    STRING m_galleryID;
    STRING m_msgBoardID;
    STRING m_calendarID;
    WPerson m_user;
    std::list<WMediaResource> m_thumbnails;
    std::list<WComment> m_comments;
    std::list<WMessage> m_messages;
    std::list<WEvent> m_events;
};

} // namespace W

#endif
