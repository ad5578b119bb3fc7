// SPDX-License-Identifier: MIT
/// \file People.
#ifndef W_WPERSON_H
#define W_WPERSON_H

#include "W/WDateTime.h"
#include "W/WMediaResource.h"

#include <utility>

namespace W {

/// What the service adds to a person.
class WKLUser {
public:
    void setStatus(const STRING& status) { m_status = status; }
    const STRING& getStatus() const { return m_status; }

    void setStatusCode(const STRING& code) { m_statusCode = code; }
    const STRING& getStatusCode() const { return m_statusCode; }

    void setDelFlag(const STRING& flag) { m_delFlag = flag; }
    const STRING& getDelFlag() const { return m_delFlag; }

    void setRegisterDate(const WDateTime& date) { m_registerDate = date; }
    const WDateTime& getRegisterDate() const { return m_registerDate; }

private:
    STRING m_status;
    STRING m_statusCode;
    STRING m_delFlag;
    WDateTime m_registerDate;
};

/// A person known to the service.
class WPerson : public WResource, public WKLUser {
public:
    void setName(const STRING& name) { m_name = name; }
    const STRING& getName() const { return m_name; }

    void setPhoneNumber(const STRING& number) { m_phoneNumber = number; }
    const STRING& getPhoneNumber() const { return m_phoneNumber; }

    void setPhoto(WMediaResource photo) { m_photo = std::move(photo); }
    const WMediaResource& getPhoto() const { return m_photo; }

private:
    STRING m_name;
    STRING m_phoneNumber;
    WMediaResource m_photo;
};

} // namespace W

#endif
