// SPDX-License-Identifier: MIT
/// \file Galleries: the contents of a group that belong together.
#ifndef W_WKLGALLERY_H
#define W_WKLGALLERY_H

#include "W/WContent.h"

#include <list>
#include <utility>

namespace W {

/// A gallery of a group and its contents.
class WKLGallery : public WResource {
public:
    void setDate(const WDateTime& date) { m_date = date; }
    const WDateTime& getDate() const { return m_date; }

    void setRegisterDate(const WDateTime& date) { m_registerDate = date; }
    const WDateTime& getRegisterDate() const { return m_registerDate; }

    void setDescription(const STRING& description) { m_description = description; }
    const STRING& getDescription() const { return m_description; }

    void setContents(std::list<WContent> contents) { m_contents = std::move(contents); }
    const std::list<WContent>& getContents() const { return m_contents; }

private:
    WDateTime m_date;
    WDateTime m_registerDate;
    STRING m_description;
    std::list<WContent> m_contents;
};

} // namespace W

#endif
