// SPDX-License-Identifier: MIT
/// \file Comments.
#ifndef TELEVISION_W_WCOMMENT_H
#define TELEVISION_W_WCOMMENT_H

#include "W/WPerson.h"

namespace W {

class WKLComment {
public:
    virtual ~WKLComment();
    void setSize(const std::string& size);
    void setRegisterDate(const WDateTime& date);
    void setUser(const WPerson& user);
};

class WComment : public WResource, public WKLComment {
public:
    void setComment(const std::string& text);
    const std::string& getComment() const;
};

} // namespace W

#endif
