// SPDX-License-Identifier: MIT
/// \file Messages.
#ifndef TELEVISION_W_WMESSAGE_H
#define TELEVISION_W_WMESSAGE_H

#include "W/WPerson.h"

namespace W {

class WKLMessage {
public:
    virtual ~WKLMessage();
    void setRegisterDate(const WDateTime& date);
    void setUser(const WPerson& user);
};

class WMessage : public WResource, public WKLMessage {
public:
    void setText(const std::string& text);
};

} // namespace W

#endif
