// SPDX-License-Identifier: MIT
/// \file The service on the network.
#ifndef KINLOOMD_SERVER_SERVER_H
#define KINLOOMD_SERVER_SERVER_H

#include "operations/Service.h"
#include "server/Connections.h"

struct MHD_Daemon;

namespace kinloomd {

class Exchange;

/// Serves HTTP from construction to destruction, each connection on a thread of its own.
class Server {
public:
    /// Throws std::runtime_error when it cannot listen.
    explicit Server(Options options);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /// Takes no more connections, gives running requests a moment to end, and ends them.
    ~Server();

    /// "ADDR:PORT", the port being the real one.
    const std::string& address() const { return m_address; }

    // For the HTTP library's callbacks.
    std::unique_ptr<Exchange> newExchange(const char* target);
    Connections& connections() { return m_connections; }

private:
    std::string m_address;
    UniqueFd m_listening;
    Service m_service;
    Connections m_connections;
    MHD_Daemon* m_daemon = nullptr;
};

} // namespace kinloomd

#endif
