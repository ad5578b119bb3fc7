// SPDX-License-Identifier: MIT
#include "support/Plugin.h"

#include "W/WConfigManager.h"
#include "whost/ConfigFile.h"

#include <dlfcn.h>
#include <stdexcept>

namespace bench {

W::HttpOptions optionsFor(unsigned short port)
{
    W::HttpOptions options;
    options.connectTo = {ENDPOINT_HOST + ":80:127.0.0.1:" + std::to_string(port)};
    return options;
}

void setProviderOptions()
{
    const W::WContentProvider provider("Kinloom", W::WContentProvider::SERVICE_KINLOOM);
    W::WConfigManager* const config = W::WConfigManager::getInstance();
    config->setCPOption(provider, "app_id", "bench-application");
    config->setCPOption(provider, "AuthToken", "0123456789abcdef0123456789abcdef");
    config->setCPOption(provider, "duid", "bench-device-0001");
}

const char* pluginPath() { return KINLOOM_BENCH_PLUGIN; }

Plugin::Plugin(unsigned short port, const std::string& configuration) : m_library(dlopen(pluginPath(), RTLD_NOW | RTLD_LOCAL))
{
    if (!m_library)
        throw std::runtime_error(dlerror());
    auto* const create = reinterpret_cast<void* (*)()>(dlsym(m_library, "createPlugin"));
    m_destroy = reinterpret_cast<void (*)(void*)>(dlsym(m_library, "destroyPlugin"));
    if (!create || !m_destroy)
        throw std::runtime_error("the library is no plugin");
    if (configuration.empty()) {
        setProviderOptions();
    } else {
        W::ConfigFile file(configuration);
        file.load();
        file.apply();
    }
    W::setHttpOptions(optionsFor(port));
    m_object = static_cast<W::WKinloomOAI*>(create());
    m_object->setHandle(1);
    signIn(*m_object);
}

Plugin::~Plugin()
{
    m_destroy(m_object);
    dlclose(m_library);
}

void signIn(W::WKinloomOAI& object)
{
    Event done;
    const auto callback = [](W::WSTATUS status, const W::WContentProvider&, void* event) {
        static_cast<Event*>(event)->set(status);
    };
    if (object.authKL(callback, &done) < 0 || done.wait() < 0)
        throw std::runtime_error("the sign-in failed");
}

void Event::set(W::WSTATUS status)
{
    // Notified under the lock: the waiting thread may end the object as soon as it has seen the change.
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_status = status;
    m_set = true;
    m_changed.notify_one();
}

W::WSTATUS Event::wait()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_set; });
    m_set = false;
    return m_status;
}

} // namespace bench
