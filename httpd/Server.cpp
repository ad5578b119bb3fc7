// SPDX-License-Identifier: MIT
#include "httpd/Server.h"

#include "httpd/Exchange.h"

#include <microhttpd.h>
#include <stdexcept>

namespace httpd {

namespace {

constexpr std::chrono::milliseconds FAREWELL{1000}; ///< what running requests may still take when the server ends
constexpr std::size_t MEMORY_PER_CONNECTION = 256 * 1024;
constexpr std::size_t MEMORY_INCREMENT = 16 * 1024;
constexpr unsigned REMOTE_REQUESTS_PER_SECOND = 500; ///< from one address, when others than this computer can connect

Limits withDefaults(Limits limits, const Listener& listener)
{
    if (limits.requestsPerSecond == 0 && !listener.isOnLoopback())
        limits.requestsPerSecond = REMOTE_REQUESTS_PER_SECOND;
    return limits;
}

int socketOf(MHD_Connection* connection)
{
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

/// Called with the raw request line before anything else is known; what it returns is the exchange's place in the library.
void* beginExchange(void* context, const char* target, MHD_Connection*)
{
    return std::make_unique<Exchange>(*static_cast<Serving*>(context), target).release();
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
    ConnectionWatch& watch = static_cast<Serving*>(context)->watch;
    if (code == MHD_CONNECTION_NOTIFY_STARTED)
        watch.opened(socketOf(connection));
    else
        watch.closed(socketOf(connection));
}

/// Paths and queries are handed on as they were sent.
std::size_t leaveEscaped(void*, MHD_Connection*, char* text) { return std::char_traits<char>::length(text); }

} // namespace

struct Server::Daemon {
    Daemon(const Listener& listener, const Limits& limits, Handler& handler)
        : address(listener.address()), serving(withDefaults(limits, listener), handler)
    {
    }

    std::string address;
    Serving serving;
    MHD_Daemon* mhd = nullptr;
};

Server::Server(Listener listener, const Limits& limits, Handler& handler)
    : m_daemon(std::make_unique<Daemon>(listener, limits, handler))
{
    UniqueFd socket = listener.release();
    Serving* const serving = &m_daemon->serving;
    const unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_THREAD_PER_CONNECTION | MHD_USE_POLL | MHD_USE_ITC;
    m_daemon->mhd = MHD_start_daemon(flags, 0, nullptr, nullptr, &handleRequest, nullptr,              //
                                     MHD_OPTION_LISTEN_SOCKET, socket.get(),                           //
                                     MHD_OPTION_CONNECTION_LIMIT, limits.connections,                  //
                                     MHD_OPTION_PER_IP_CONNECTION_LIMIT, limits.connectionsPerAddress, //
                                     MHD_OPTION_CONNECTION_TIMEOUT, idleSeconds(limits),               //
                                     MHD_OPTION_CONNECTION_MEMORY_LIMIT, MEMORY_PER_CONNECTION,        //
                                     MHD_OPTION_CONNECTION_MEMORY_INCREMENT, MEMORY_INCREMENT,         //
                                     MHD_OPTION_URI_LOG_CALLBACK, &beginExchange, serving,             //
                                     MHD_OPTION_NOTIFY_COMPLETED, &endExchange, nullptr,               //
                                     MHD_OPTION_NOTIFY_CONNECTION, &noteConnection, serving,           //
                                     MHD_OPTION_UNESCAPE_CALLBACK, &leaveEscaped, nullptr,             //
                                     MHD_OPTION_STRICT_FOR_CLIENT, 1,                                  //
                                     MHD_OPTION_SIGPIPE_HANDLED_BY_APP, 1,                             //
                                     MHD_OPTION_END);
    if (m_daemon->mhd == nullptr)
        throw std::runtime_error("cannot start the HTTP server on " + address());
    socket.release(); // the library closes it
}

Server::~Server()
{
    const UniqueFd listening(MHD_quiesce_daemon(m_daemon->mhd));
    Serving& serving = m_daemon->serving;
    serving.closing.give();
    serving.watch.waitForRequests(FAREWELL);
    serving.handler.stopping();
    MHD_stop_daemon(m_daemon->mhd);
}

const std::string& Server::address() const { return m_daemon->address; }

} // namespace httpd
