// SPDX-License-Identifier: MIT
/// \file The root of plugins.
#ifndef TELEVISION_W_WPLUGIN_H
#define TELEVISION_W_WPLUGIN_H

#include "W/WTypes.h" // IWYU pragma: export

namespace W {

class WPlugin {
public:
    virtual bool isValid() const;
    virtual ~WPlugin();

protected:
    WPlugin();
};

} // namespace W

#endif
