// SPDX-License-Identifier: MIT
/// \file Challenges that a service puts to the user.
#ifndef W_WEXCEPTION_H
#define W_WEXCEPTION_H

#include "W/WContentProvider.h"

namespace W {

enum ExceptionType_enum : UINT32 {
    EXCEPTION_UNKNOWN = 0,
    EXCEPTION_CAPTCHA = 1,
};

/// A challenge that the user must answer before the service goes on. Not a C++ exception: it is stored, shown and resolved.
class WException {
public:
    explicit WException(ExceptionType_enum type = EXCEPTION_UNKNOWN) : m_type(type) {}
    virtual ~WException() = default;
    WException(const WException&) = default;
    WException& operator=(const WException&) = default;

    ExceptionType_enum getExceptionType() const { return m_type; }

    void setContentProvider(const WContentProvider& provider) { m_provider = provider; }
    const WContentProvider& getContentProvider() const { return m_provider; }

private:
    ExceptionType_enum m_type;
    WContentProvider m_provider;
};

/// A challenge in words or pictures.
class WCaptchaException : public WException {
public:
    struct Data {
        STRING user;      ///< who asked to sign in: the authentication token of the refused request
        STRING secret;    ///< with what: the application identifier of the refused request
        STRING challenge; ///< what the service asks
        STRING answer;    ///< what the user answered; filled by the host
    };

    WCaptchaException() : WException(EXCEPTION_CAPTCHA) {}

    Data& data() { return m_data; }
    const Data& data() const { return m_data; }

private:
    Data m_data;
};

} // namespace W

#endif
