// SPDX-License-Identifier: MIT
/// \file Events of a calendar.
#ifndef W_WEVENT_H
#define W_WEVENT_H

#include "W/WPerson.h"

#include <list>
#include <utility>

namespace W {

/// What the service adds to an event.
class WKLEvent {
public:
    WKLEvent() = default;
    virtual ~WKLEvent() = default;
    WKLEvent(const WKLEvent&) = default;
    WKLEvent(WKLEvent&&) = default;
    WKLEvent& operator=(const WKLEvent&) = default;
    WKLEvent& operator=(WKLEvent&&) = default;

    void setType(const STRING& type) { m_type = type; }
    const STRING& getType() const { return m_type; }

    void setRegisterDate(const WDateTime& date) { m_registerDate = date; }
    const WDateTime& getRegisterDate() const { return m_registerDate; }

    void setUser(WPerson user) { m_user = std::move(user); }
    const WPerson& getUser() const { return m_user; }

private:
    STRING m_type;
    WDateTime m_registerDate;
    WPerson m_user;
};

/// An event of a group's calendar.
class WEvent : public WResource, public WKLEvent {
public:
    /// How an event repeats, with the dates that depart from the rule.
    class RecurrenceRule {
    public:
        class RecurrenceException {
        public:
            void setOriginalTime(const WDateTime& time) { m_originalTime = time; }
            const WDateTime& getOriginalTime() const { return m_originalTime; }
            void setWhen(const WWhen& when) { m_when = when; }
            const WWhen& getWhen() const { return m_when; }

        private:
            WDateTime m_originalTime;
            WWhen m_when;
        };

        void setRule(const STRING& rule) { m_rule = rule; }
        const STRING& getRule() const { return m_rule; }
        void setExceptions(const std::list<RecurrenceException>& exceptions) { m_exceptions = exceptions; }
        const std::list<RecurrenceException>& getExceptions() const { return m_exceptions; }

    private:
        STRING m_rule;
        std::list<RecurrenceException> m_exceptions;
    };

    void setTitle(const STRING& title) { m_title = title; }
    const STRING& getTitle() const { return m_title; }

    void setDescription(const STRING& description) { m_description = description; }
    const STRING& getDescription() const { return m_description; }

    void setCalendarUID(const STRING& uid) { m_calendarUID = uid; }
    const STRING& getCalendarUID() const { return m_calendarUID; }

    void setWhen(const WWhen& when) { m_when = when; }
    const WWhen& getWhen() const { return m_when; }

    void setRecurrenceRule(const RecurrenceRule& rule) { m_recurrenceRule = rule; }
    const RecurrenceRule& getRecurrenceRule() const { return m_recurrenceRule; }

private:
    STRING m_title;
    STRING m_description;
    STRING m_calendarUID;
    WWhen m_when;
    RecurrenceRule m_recurrenceRule;
};

} // namespace W

#endif
