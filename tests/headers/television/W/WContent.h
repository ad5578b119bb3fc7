// SPDX-License-Identifier: MIT
/// \file Contents.
#ifndef TELEVISION_W_WCONTENT_H
#define TELEVISION_W_WCONTENT_H

#include "W/WComment.h"
#include "W/WEvent.h"
#include "W/WMessage.h"
#include "W/WSize.h"

#include <list>

namespace W {

class WContent : public WMediaResource {
public:
    void setType(const std::string& type);
    const std::string& getType() const;
    void setSize(const std::string& size);
    void setExt(const std::string& ext);
    void setFormat(const std::string& format);
    void setDuration(const std::string& duration);
    void setDescription(const std::string& description);
    const std::string& getDescription() const;
    void setCreateDate(const WDateTime& date);
    void setCreateTime(const WDateTime& time);
    void setRegisterDate(const WDateTime& date);
    void setRegisterTime(const WDateTime& time);
    void setResolution(const WSize& resolution);
    const WSize& getResolution() const;
    void setCommentCount(UINT32 count);
    void setGalleryID(const std::string& id);
    const std::string& getGalleryID() const;
    void setMsgBoardID(const std::string& id);
    const std::string& getMsgBoardID() const;
    void setCalendarID(const std::string& id);
    const std::string& getCalendarID() const;
    void setUser(const WPerson& user);
    void setThumbnails(const std::list<WMediaResource>& thumbnails);
    void setComments(const std::list<WComment>& comments);
    void setMessages(const std::list<WMessage>& messages);
    void setEvents(const std::list<WEvent>& events);
};

} // namespace W

#endif
