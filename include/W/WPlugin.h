// SPDX-License-Identifier: MIT
/// \file The root of every plugin object.
#ifndef W_WPLUGIN_H
#define W_WPLUGIN_H

#include "W/WTypes.h"

namespace W {

/// A plugin as its host sees it. The order of the virtual members is part of the binary contract: isValid is slot 0, the
/// destructors are slots 1 and 2.
class WPlugin {
public:
    /// True once the host has given the plugin a handle.
    virtual bool isValid() const { return m_handle != 0; }
    virtual ~WPlugin() = default;
    WPlugin(const WPlugin&) = delete;
    WPlugin& operator=(const WPlugin&) = delete;

    /// For the host, when it registers the plugin.
    void setHandle(UINT32 handle) { m_handle = handle; }

protected:
    WPlugin() = default;

private:
    // Three words whose order and first values the host framework fixes; it alone gives the last two a meaning.
    UINT32 m_handle = 0;
    [[maybe_unused]] UINT32 m_second = 1;
    [[maybe_unused]] UINT32 m_third = 0;
};

} // namespace W

#endif
