// SPDX-License-Identifier: MIT
/// \file The plugin as a host has it: loaded, configured and signed in.
#ifndef SUPPORT_PLUGIN_H
#define SUPPORT_PLUGIN_H

#include "W/WKinloomOAI.h"
#include "whost/HttpOptions.h"

#include <condition_variable>
#include <mutex>
#include <string>

namespace bench {

/// The endpoint's host name, which is led to a server on this computer.
inline const std::string ENDPOINT_HOST = "openapi.kinloom.example";

/// The host's options with the endpoint led to a port of this computer.
W::HttpOptions optionsFor(unsigned short port);
/// Sets what the provider's sign-in wants.
void setProviderOptions();

/// The plugin's file.
const char* pluginPath();

/// libwkloai.so, loaded like by any host, and one signed-in object of it.
class Plugin {
public:
    /// \param port of the server that plays the service.
    /// \param configuration a file with what the sign-in wants; empty: setProviderOptions(). \throw std::runtime_error
    explicit Plugin(unsigned short port, const std::string& configuration = "");
    ~Plugin();
    Plugin(const Plugin&) = delete;
    Plugin& operator=(const Plugin&) = delete;

    W::WKinloomOAI& operator*() const { return *m_object; }
    W::WKinloomOAI* operator->() const { return m_object; }

private:
    void* m_library = nullptr;
    void (*m_destroy)(void*) = nullptr;
    W::WKinloomOAI* m_object = nullptr;
};

/// Signs an object in and waits for the outcome. \throw std::runtime_error
void signIn(W::WKinloomOAI& object);

/// What a thread waits for and a callback brings.
class Event {
public:
    void set(W::WSTATUS status);
    /// Waits, and is ready for the next time. \return the status.
    W::WSTATUS wait();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_set = false;
    W::WSTATUS m_status = 0;
};

} // namespace bench

#endif
