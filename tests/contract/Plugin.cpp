// SPDX-License-Identifier: MIT
#include "contract/Plugin.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace contract {

Library::Library() : m_handle(dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_LOCAL))
{
    if (!m_handle)
        ADD_FAILURE() << dlerror();
}

Library::~Library()
{
    if (m_handle)
        dlclose(m_handle);
}

void* Library::symbol(const char* name) const { return m_handle ? dlsym(m_handle, name) : nullptr; }

bool Library::isLoaded()
{
    void* const handle = dlopen(PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD);
    if (handle)
        dlclose(handle);
    return handle != nullptr;
}

void* Library::createPlugin() const
{
    void* const entry = symbol("createPlugin");
    return entry ? reinterpret_cast<void* (*)()>(entry)() : nullptr;
}

void Library::destroyPlugin(void* plugin) const
{
    if (void* const entry = symbol("destroyPlugin"))
        reinterpret_cast<void (*)(void*)>(entry)(plugin);
}

} // namespace contract
