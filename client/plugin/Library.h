// SPDX-License-Identifier: MIT
/// \file The plugin's shared library, and the plugin objects of this process.
#ifndef KINLOOM_CLIENT_LIBRARY_H
#define KINLOOM_CLIENT_LIBRARY_H

#include "W/WKinloomOAI.h"

#include <memory>
#include <string>

namespace kinloom {

/// The loaded library.
class Library {
public:
    /// \throw CallError (not loaded, not a plugin).
    explicit Library(const std::string& path);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    const std::string& path() const { return m_path; }

private:
    friend class Plugin;
    void* symbol(const char* name) const;

    std::string m_path;
    void* m_handle;
    void* (*m_create)() = nullptr;
    void (*m_destroy)(void*) = nullptr;
};

/// One plugin object; it keeps its library loaded.
///
/// Its end drops every request of the service that this process has under way, whichever object made it. So whoever watches the
/// process's calls is told of each end (see LocalTurn).
class Plugin {
public:
    /// Makes an object and looks at who it says it is.
    /// \throw CallError when none is made (failed), or it is another provider's (not a plugin).
    explicit Plugin(std::shared_ptr<const Library> library);
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    W::WKinloomOAI& operator*() const { return *m_object; }
    W::WKinloomOAI* operator->() const { return m_object; }
    const W::WContentProvider& provider() const { return m_object->getContentProvider(); }

private:
    std::shared_ptr<const Library> m_library;
    W::WKinloomOAI* m_object;
};

} // namespace kinloom

#endif
