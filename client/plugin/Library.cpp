// SPDX-License-Identifier: MIT
#include "plugin/Library.h"

#include "kinloom/Failure.h"
#include "kinloom/Settings.h"
#include "plugin/LocalTurn.h"
#include "plugin/Provider.h"

#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

namespace kinloom {

namespace {

/// Places relative to the folder that this library is in: the installation's first, then the build tree's.
constexpr const char* PLACES[] = {KINLOOM_PLUGIN_INSTALLED, KINLOOM_PLUGIN_BUILT};

/// The folder of the file that this code is in, with a slash at its end.
std::string ownFolder()
{
    Dl_info own{};
    char path[PATH_MAX];
    if (dladdr(reinterpret_cast<void*>(&pluginPath), &own) == 0 || own.dli_fname == nullptr || !realpath(own.dli_fname, path))
        return {};
    const std::string file = path;
    return file.substr(0, file.rfind('/') + 1);
}

std::string loadError()
{
    const char* const error = dlerror(); // NOLINT(concurrency-mt-unsafe): glibc keeps it per thread
    return error ? error : "unknown error";
}

[[noreturn]] void refuse(const std::string& detail) { throw CallError({FailureKind::NOT_A_PLUGIN, W::WSTATUS_OK, "", "", detail}); }

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
        throw CallError({FailureKind::NOT_LOADED, W::WSTATUS_OK, "the plugin cannot be loaded", "", loadError()});
    m_create = reinterpret_cast<void* (*)()>(symbol("createPlugin"));
    m_destroy = reinterpret_cast<void (*)(void*)>(symbol("destroyPlugin"));
    if (m_create == nullptr || m_destroy == nullptr) {
        dlclose(m_handle);
        refuse(path + ": is no plugin: it has no createPlugin and destroyPlugin");
    }
}

Library::~Library() { dlclose(m_handle); }

void* Library::symbol(const char* name) const { return dlsym(m_handle, name); }

Plugin::Plugin(std::shared_ptr<const Library> library)
    : m_library(std::move(library)), m_object(static_cast<W::WKinloomOAI*>(m_library->m_create()))
{
    if (m_object == nullptr)
        throw CallError({FailureKind::FAILED, W::WSTATUS_OK, "", "", m_library->path() + ": makes no plugin"});
    if (provider().getName() != PROVIDER || provider().getServiceType() != W::WContentProvider::SERVICE_KINLOOM) {
        const std::string name = provider().getName();
        m_library->m_destroy(m_object);
        refuse(m_library->path() + ": is the plugin of another service, '" + name + "'");
    }
    m_object->setHandle(1);
}

Plugin::~Plugin()
{
    m_library->m_destroy(m_object);
    LocalTurn::instance().flushed(*this);
}

} // namespace kinloom
