// SPDX-License-Identifier: MIT
/// \file Galleries.
#ifndef TELEVISION_W_WKLGALLERY_H
#define TELEVISION_W_WKLGALLERY_H

#include "W/WContent.h"

#include <list>

namespace W {

class WKLGallery : public WResource {
public:
    void setDate(const WDateTime& date);
    void setRegisterDate(const WDateTime& date);
    void setDescription(const std::string& description);
    void setContents(const std::list<WContent>& contents);
};

} // namespace W

#endif
