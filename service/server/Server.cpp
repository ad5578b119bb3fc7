// SPDX-License-Identifier: MIT
#include "server/Server.h"

#include "server/Address.h"
#include "server/Exchange.h"

#include <microhttpd.h>
#include <stdexcept>

namespace kinloomd {

namespace {

constexpr std::chrono::milliseconds FAREWELL{1000}; ///< what running requests may still take when the service stops
constexpr std::size_t MEMORY_PER_CONNECTION = 256 * 1024;
constexpr std::size_t MEMORY_INCREMENT = 16 * 1024;
constexpr unsigned REMOTE_REQUESTS_PER_SECOND = 500; ///< from one address, when others than this computer can connect

Options withDefaults(Options options, int socket)
{
    if (options.limits.requestsPerSecond == 0 && !isBoundToLoopback(socket))
        options.limits.requestsPerSecond = REMOTE_REQUESTS_PER_SECOND;
    return options;
}

int socketOf(MHD_Connection* connection)
{
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

/// Called with the raw request line before anything else is known; what it returns is the exchange's place in the library.
void* beginExchange(void* context, const char* target, MHD_Connection*)
{
    return static_cast<Server*>(context)->newExchange(target).release();
}

MHD_Result handleRequest(void*, MHD_Connection* connection, const char*, const char* method, const char*, const char* data,
                         std::size_t* size, void** exchange)
{
    return static_cast<Exchange*>(*exchange)->handle(connection, method, data, size);
}

void endExchange(void*, MHD_Connection*, void** exchange, MHD_RequestTerminationCode)
{
    delete static_cast<Exchange*>(*exchange);
    *exchange = nullptr;
}

void noteConnection(void* context, MHD_Connection* connection, void**, MHD_ConnectionNotificationCode code)
{
    Connections& connections = static_cast<Server*>(context)->connections();
    if (code == MHD_CONNECTION_NOTIFY_STARTED)
        connections.opened(socketOf(connection));
    else
        connections.closed(socketOf(connection));
}

/// Paths and queries are taken apart and decoded by the service itself.
std::size_t leaveEscaped(void*, MHD_Connection*, char* text) { return std::char_traits<char>::length(text); }

} // namespace

Server::Server(Options options)
    : m_listening(listenOn(options.listenAddress)),
      m_service(withDefaults(std::move(options), m_listening.get())),
      m_connections(m_service.options().limits, m_service.stopSignal())
{
    m_address = boundAddress(m_listening.get());
    const Limits& limits = m_service.options().limits;
    const unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL | MHD_USE_ITC;
    m_daemon = MHD_start_daemon(flags, 0, nullptr, nullptr, &handleRequest, nullptr,                                          //
                                MHD_OPTION_LISTEN_SOCKET, m_listening.get(),                                                  //
                                MHD_OPTION_CONNECTION_LIMIT, limits.connections,                                              //
                                MHD_OPTION_PER_IP_CONNECTION_LIMIT, limits.connectionsPerAddress,                             //
                                MHD_OPTION_CONNECTION_TIMEOUT, static_cast<unsigned>((limits.idleTime.count() + 999) / 1000), //
                                MHD_OPTION_CONNECTION_MEMORY_LIMIT, MEMORY_PER_CONNECTION,                                    //
                                MHD_OPTION_CONNECTION_MEMORY_INCREMENT, MEMORY_INCREMENT,                                     //
                                MHD_OPTION_URI_LOG_CALLBACK, &beginExchange, this,                                            //
                                MHD_OPTION_NOTIFY_COMPLETED, &endExchange, nullptr,                                           //
                                MHD_OPTION_NOTIFY_CONNECTION, &noteConnection, this,                                          //
                                MHD_OPTION_UNESCAPE_CALLBACK, &leaveEscaped, nullptr,                                         //
                                MHD_OPTION_STRICT_FOR_CLIENT, 1,                                                              //
                                MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1,                                                         //
                                MHD_OPTION_END);
    if (m_daemon == nullptr) {
        m_service.stopSignal().give();
        throw std::runtime_error("cannot start the HTTP server on " + m_address);
    }
    m_listening.release(); // the library closes it
}

std::unique_ptr<Exchange> Server::newExchange(const char* target)
{
    return std::make_unique<Exchange>(m_service, m_connections, target);
}

Server::~Server()
{
    const UniqueFd listening(MHD_quiesce_daemon(m_daemon));
    m_connections.waitForRequests(FAREWELL);
    m_service.stopSignal().give();
    m_service.workers().stop();
    MHD_stop_daemon(m_daemon);
}

} // namespace kinloomd
