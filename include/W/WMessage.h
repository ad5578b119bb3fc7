// SPDX-License-Identifier: MIT
/// \file Messages of a message board.
#ifndef W_WMESSAGE_H
#define W_WMESSAGE_H

#include "W/WPerson.h"

#include <utility>

namespace W {

/// What the service adds to a message.
class WKLMessage {
public:
    WKLMessage() = default;
    virtual ~WKLMessage() = default;
    WKLMessage(const WKLMessage&) = default;
    WKLMessage(WKLMessage&&) = default;
    WKLMessage& operator=(const WKLMessage&) = default;
    WKLMessage& operator=(WKLMessage&&) = default;

    void setRegisterDate(const WDateTime& date) { m_registerDate = date; }
    const WDateTime& getRegisterDate() const { return m_registerDate; }

    void setUser(WPerson user) { m_user = std::move(user); }
    const WPerson& getUser() const { return m_user; }

private:
    WDateTime m_registerDate;
    WPerson m_user;
};

/// A message on a group's message board.
class WMessage : public WResource, public WKLMessage {
public:
    void setText(const STRING& text) { m_text = text; }
    const STRING& getText() const { return m_text; }

private:
    STRING m_text;
};

} // namespace W

#endif
