// SPDX-License-Identifier: MIT
/// \file The plugin's shared library.
#ifndef KINLOOM_PLUGIN_LIBRARY_H
#define KINLOOM_PLUGIN_LIBRARY_H

#include "W/WKinloomOAI.h"

#include <memory>
#include <string>

namespace kinloom {

/// Where the plugin is: \p chosen, else what the environment variable KINLOOM_PLUGIN names, else where the installation or the
/// build put it, seen from this program.
std::string pluginPath(const std::string& chosen);

/// The loaded library.
class Library {
public:
    using Plugin = std::unique_ptr<W::WKinloomOAI, void (*)(void*)>;

    /// \throw Failure (local file) when it cannot be loaded or is no such plugin.
    explicit Library(const std::string& path);
    ~Library();
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    /// A plugin object; it must be gone before the library is. \throw Failure when none is made.
    Plugin create() const;

private:
    void* symbol(const char* name) const;

    std::string m_path;
    void* m_handle;
    void* (*m_create)() = nullptr;
    void (*m_destroy)(void*) = nullptr;
};

} // namespace kinloom

#endif
