// SPDX-License-Identifier: MIT
/// \file People.
#ifndef TELEVISION_W_WPERSON_H
#define TELEVISION_W_WPERSON_H

#include "W/WDateTime.h"
#include "W/WMediaResource.h"

namespace W {

class WKLUser {
public:
    void setStatus(const std::string& status);
    void setStatusCode(const std::string& code);
    void setDelFlag(const std::string& flag);
    const std::string& getDelFlag() const;
    void setRegisterDate(const WDateTime& date);
};

class WPerson : public WResource, public WKLUser {
public:
    void setName(const std::string& name);
    void setPhoneNumber(const std::string& number);
    void setPhoto(const WMediaResource& photo);
};

} // namespace W

#endif
