// SPDX-License-Identifier: MIT
/// \file Service providers.
#ifndef TELEVISION_W_WCONTENTPROVIDER_H
#define TELEVISION_W_WCONTENTPROVIDER_H

#include "W/WTypes.h"

namespace W {

class WContentProvider {
public:
    enum ServiceType : UINT32 {};

    WContentProvider();
    WContentProvider(const std::string& name, ServiceType type);
    WContentProvider(const WContentProvider&);
    WContentProvider& operator=(const WContentProvider&);
    virtual ~WContentProvider();

    UINT32 getID() const;
};

} // namespace W

#endif
