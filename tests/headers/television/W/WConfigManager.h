// SPDX-License-Identifier: MIT
/// \file The configuration.
#ifndef TELEVISION_W_WCONFIGMANAGER_H
#define TELEVISION_W_WCONFIGMANAGER_H

#include "W/WContentProvider.h"

namespace W {

class WVariant {
public:
    std::string toString() const;
};

class WConfigManager {
public:
    static WConfigManager* getInstance();
    WVariant getCPOption(const WContentProvider& provider, const std::string& key);
};

} // namespace W

#endif
