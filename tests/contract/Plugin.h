// SPDX-License-Identifier: MIT
/// \file The plugin's library, loaded as a host loads it.
#ifndef CONTRACT_PLUGIN_H
#define CONTRACT_PLUGIN_H

#include "W/WKinloomOAI.h"

#include <cstddef>
#include <utility>

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

/// The virtual slots, in their order; 1 and 2 are the destructors.
enum Slot : std::size_t {
    IS_VALID = 0,
    DESTROY = 1,
    DELETE = 2,
    LOGIN = 3,
    LOGOUT = 4,
    RETRIEVE_EXCEPTIONS = 5,
    RESOLVE_EXCEPTION = 6,
    REGISTER_KL = 7,
    UNREGISTER_KL = 8,
    AUTH_KL = 9,
    RETRIEVE_GROUP_LIST = 10,
    CREATE_GROUP = 11,
    DELETE_GROUP = 12,
    RETRIEVE_GROUP_FEEDS = 13,
    RETRIEVE_GROUP_GALLERY = 14,
    CREATE_CONTENT = 15,
    DELETE_CONTENT = 16,
    UPDATE_CONTENT = 17,
    VIEW_CONTENT = 18,
    CREATE_COMMENT = 19,
    DELETE_COMMENT = 20,
    UPDATE_COMMENT = 21,
    VIEW_COMMENT = 22,
    CANCEL = 23,
    DOWNLOAD = 24,
    PROGRESS_STATUS = 25,
    SLOTS = 26,
};

/// The function in a slot of an object's virtual table, which its first word points to.
inline void* functionIn(void* object, std::size_t slot) { return (*static_cast<void***>(object))[slot]; }

/// Calls a slot as a host does that knows the interface by its slots only. References are passed as pointers.
template <class Result, class... Arguments>
__attribute__((no_sanitize("undefined"))) Result callSlot(void* object, std::size_t slot, Arguments... arguments)
{
    using Function = Result (*)(void*, Arguments...);
    return reinterpret_cast<Function>(functionIn(object, slot))(object, arguments...);
}

} // namespace contract

#endif
