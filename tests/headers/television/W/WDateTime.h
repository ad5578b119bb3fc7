// SPDX-License-Identifier: MIT
/// \file Points in time and spans.
#ifndef TELEVISION_W_WDATETIME_H
#define TELEVISION_W_WDATETIME_H

#include "W/WTypes.h"

namespace W {

class WDateTime {
public:
    enum DATEFORMAT : UINT32 {};
    enum TIMEZONE : UINT32 {};

    WDateTime();
    static WDateTime fromString(const std::string& text, DATEFORMAT format, TIMEZONE zone);
};

class WWhen {
public:
    void setStartTime(const WDateTime& start);
    void setEndTime(const WDateTime& end);
};

} // namespace W

#endif
