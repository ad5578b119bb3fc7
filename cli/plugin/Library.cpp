// SPDX-License-Identifier: MIT
#include "plugin/Library.h"

#include "core/Errors.h"

#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

namespace kinloom {

namespace {

/// Places relative to the folder that this program is in: the installation's first, then the build tree's.
constexpr const char* PLACES[] = {KINLOOM_PLUGIN_INSTALLED, KINLOOM_PLUGIN_BUILT};

std::string ownFolder()
{
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string program(path, length > 0 ? static_cast<std::size_t>(length) : 0);
    return program.substr(0, program.rfind('/') + 1);
}

std::string loadError()
{
    const char* const error = dlerror(); // NOLINT(concurrency-mt-unsafe): glibc keeps it per thread
    return error ? error : "unknown error";
}

} // namespace

std::string pluginPath(const std::string& chosen)
{
    if (!chosen.empty())
        return chosen;
    const char* const named = std::getenv("KINLOOM_PLUGIN"); // NOLINT(concurrency-mt-unsafe): nothing changes the environment
    if (named != nullptr && *named != '\0')
        return named;
    const std::string folder = ownFolder();
    for (const char* place : PLACES) {
        if (access((folder + place).c_str(), R_OK) == 0)
            return folder + place;
    }
    return folder + PLACES[0];
}

Library::Library(const std::string& path) : m_path(path)
{
    // A name without a folder would be looked for in the system's library folders.
    const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
    m_handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr)
        throw Failure(Exit::LOCAL_FILE, "the plugin cannot be loaded: " + loadError() + ". --plugin PATH names another one.");
    m_create = reinterpret_cast<void* (*)()>(symbol("createPlugin"));
    m_destroy = reinterpret_cast<void (*)(void*)>(symbol("destroyPlugin"));
    if (m_create == nullptr || m_destroy == nullptr) {
        dlclose(m_handle);
        throw Failure(Exit::LOCAL_FILE, path + ": is no plugin: it has no createPlugin and destroyPlugin");
    }
}

Library::~Library() { dlclose(m_handle); }

void* Library::symbol(const char* name) const { return dlsym(m_handle, name); }

Library::Plugin Library::create() const
{
    Plugin plugin(static_cast<W::WKinloomOAI*>(m_create()), m_destroy);
    if (!plugin)
        throw Failure(Exit::FAILED, m_path + ": makes no plugin");
    plugin->setHandle(1);
    return plugin;
}

} // namespace kinloom
