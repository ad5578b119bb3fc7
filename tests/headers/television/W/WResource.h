// SPDX-License-Identifier: MIT
/// \file The base of records.
#ifndef TELEVISION_W_WRESOURCE_H
#define TELEVISION_W_WRESOURCE_H

#include "W/WContentProvider.h"
#include "W/WExtendedProperty.h" // IWYU pragma: export

namespace W {

class WResource {
public:
    virtual ~WResource();
    void setContentProvider(const WContentProvider& provider);
    void setUID(const std::string& uid);
    const std::string& getUID() const;
};

} // namespace W

#endif
