// SPDX-License-Identifier: MIT
/// \file Challenges.
#ifndef TELEVISION_W_WEXCEPTION_H
#define TELEVISION_W_WEXCEPTION_H

#include "W/WContentProvider.h"

namespace W {

enum ExceptionType_enum : UINT32 {};

class WException {
public:
    virtual ~WException();
    ExceptionType_enum getExceptionType() const;
    void setContentProvider(const WContentProvider& provider);
};

class WCaptchaException : public WException {
public:
    // What the four are called is this host's business.
    struct Four {
        std::string one;
        std::string two;
        std::string three;
        std::string four;
    };

    WCaptchaException();
    Four& data();
    const Four& data() const;
};

} // namespace W

#endif
