// SPDX-License-Identifier: MIT
/// \file Events.
#ifndef TELEVISION_W_WEVENT_H
#define TELEVISION_W_WEVENT_H

#include "W/WPerson.h"

namespace W {

class WKLEvent {
public:
    virtual ~WKLEvent();
    void setType(const std::string& type);
    void setRegisterDate(const WDateTime& date);
    void setUser(const WPerson& user);
};

class WEvent : public WResource, public WKLEvent {
public:
    class RecurrenceRule {
    public:
        class RecurrenceException {};
    };

    void setTitle(const std::string& title);
    void setDescription(const std::string& description);
    void setCalendarUID(const std::string& uid);
    void setWhen(const WWhen& when);
};

} // namespace W

#endif
