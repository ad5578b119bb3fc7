// SPDX-License-Identifier: MIT
/// \file Comments on contents.
#ifndef W_WCOMMENT_H
#define W_WCOMMENT_H

#include "W/WPerson.h"

#include <utility>

namespace W {

/// What the service adds to a comment.
class WKLComment {
public:
    WKLComment() = default;
    virtual ~WKLComment() = default;
    WKLComment(const WKLComment&) = default;
    WKLComment(WKLComment&&) = default;
    WKLComment& operator=(const WKLComment&) = default;
    WKLComment& operator=(WKLComment&&) = default;

    /// The comment's size as the service writes it, uninterpreted.
    void setSize(const STRING& size) { m_size = size; }
    const STRING& getSize() const { return m_size; }

    void setRegisterDate(const WDateTime& date) { m_registerDate = date; }
    const WDateTime& getRegisterDate() const { return m_registerDate; }

    void setUser(WPerson user) { m_user = std::move(user); }
    const WPerson& getUser() const { return m_user; }

private:
    STRING m_size;
    WDateTime m_registerDate;
    WPerson m_user;
};

/// A comment that a person wrote on a content.
class WComment : public WResource, public WKLComment {
public:
    void setComment(const STRING& text) { m_comment = text; }
    const STRING& getComment() const { return m_comment; }

private:
    STRING m_comment;
};

} // namespace W

#endif
