// SPDX-License-Identifier: MIT
/// \file The plugin's library, loaded as a host loads it.
#ifndef CONTRACT_PLUGIN_H
#define CONTRACT_PLUGIN_H

#include "W/WKinloomOAI.h"

namespace contract {

/// The shared library. Unloaded when the object ends.
class Library {
public:
    /// Loads with RTLD_NOW; fails the test when that does not work.
    Library();
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// An exported symbol, or null.
    void* symbol(const char* name) const;
    /// True while the library is in the process, whoever has loaded it.
    static bool isLoaded();

    void* createPlugin() const;
    void destroyPlugin(void* plugin) const;

private:
    void* m_handle;
};

/// What a host sees of a plugin that it compiles against. The slots by their numbers are SlotsTest's.
inline W::WKinloomOAI& interfaceOf(void* plugin) { return *static_cast<W::WKinloomOAI*>(plugin); }

} // namespace contract

#endif
