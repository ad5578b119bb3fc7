// SPDX-License-Identifier: MIT
#include "httpd/Server.h"

#include "httpd/Address.h"
#include "httpd/Session.h"
#include "httpd/Tls.h"

#include <cerrno>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>

namespace httpd {

namespace {

constexpr std::chrono::milliseconds FAREWELL{1000};  ///< what running requests may still take when the server ends
constexpr std::chrono::milliseconds SHORTAGE{50};    ///< what is waited when the system gives no more descriptors or threads
constexpr unsigned REMOTE_REQUESTS_PER_SECOND = 500; ///< from one address, when others than this computer can connect

Settings withDefaults(Settings settings, const Listener& listener)
{
    if (settings.limits.requestsPerSecond == 0 && !listener.isOnLoopback())
        settings.limits.requestsPerSecond = REMOTE_REQUESTS_PER_SECOND;
    return settings;
}

} // namespace

/// The server behind its interface: one thread takes connections, and each gets a thread of its own.
class Server::Daemon {
public:
    Daemon(Listener listener, Settings settings, Handler& handler)
        : m_address(listener.address()), m_serving(withDefaults(std::move(settings), listener), handler)
    {
        if (m_serving.settings.tls)
            m_tls = std::make_unique<Tls>(*m_serving.settings.tls);
        m_listening = listener.release();
        m_acceptor = std::thread([this] { accept(); });
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    ~Daemon()
    {
        m_serving.closing.give();
        m_acceptor.join();
        m_serving.watch.waitForRequests(FAREWELL);
        m_serving.handler.stopping();
        m_serving.watch.endAll();
        std::unique_lock<std::mutex> lock(m_mutex);
        m_allEnded.wait(lock, [this] { return m_running == 0; });
    }

    const std::string& address() const { return m_address; }

    bool reloadTls()
    {
        if (m_tls)
            m_tls->reload();
        return m_tls != nullptr;
    }

private:
    void accept()
    {
        for (;;) {
            pollfd events[] = {{m_listening.get(), POLLIN, 0}, {m_serving.closing.fd(), POLLIN, 0}};
            if (::poll(events, 2, -1) < 0 && errno != EINTR)
                return;
            if (events[1].revents != 0)
                return;
            try {
                acceptOne();
            } catch (const std::exception&) {
                // Memory is short: this connection is closed, and others may find some.
                m_serving.closing.sleepFor(SHORTAGE);
            }
        }
    }

    void acceptOne()
    {
        sockaddr_storage storage{};
        auto* const name = reinterpret_cast<sockaddr*>(&storage);
        socklen_t length = sizeof storage;
        UniqueFd socket(::accept4(m_listening.get(), name, &length, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!socket) {
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
                m_serving.closing.sleepFor(SHORTAGE);
            return;
        }
        const int on = 1;
        ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        Peer peer{addressText(name), portOf(name), ++m_connections};
        if (m_serving.watch.opened(socket.get(), peer.address, isInAny(m_serving.settings.trustedProxies, peer.address)))
            begin(std::move(socket), std::move(peer));
    }

    void begin(UniqueFd socket, Peer peer)
    {
        const int number = socket.release();
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            ++m_running;
        }
        try {
            std::thread([this, number, peer = std::move(peer)]() mutable { serve(UniqueFd(number), std::move(peer)); }).detach();
        } catch (const std::exception&) {
            // The system has no thread for it, or no memory.
            close(UniqueFd(number));
        }
    }

    void serve(UniqueFd socket, Peer peer)
    {
        try {
            const auto idleTime = m_serving.limits.idleTime;
            const auto transport = m_tls ? m_tls->accept(socket.get(), idleTime, m_serving.counters)
                                         : std::make_unique<Transport>(socket.get(), idleTime, m_serving.counters);
            Session(m_serving, *transport, std::move(peer)).run();
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch)
            // Not even a refusal could be made: memory is short. The connection is closed, and the others go on.
        }
        close(std::move(socket));
    }

    void close(UniqueFd socket)
    {
        m_serving.watch.closed(socket.get());
        socket.reset();
        // With the lock: the server may be gone as soon as it is given back.
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (--m_running == 0)
            m_allEnded.notify_all();
    }

    const std::string m_address;
    Serving m_serving;
    std::unique_ptr<Tls> m_tls;
    UniqueFd m_listening;
    std::uint64_t m_connections = 0; ///< so far; of the thread that takes them
    std::mutex m_mutex;
    std::condition_variable m_allEnded;
    std::size_t m_running = 0; ///< threads of connections; guarded by m_mutex
    std::thread m_acceptor;
};

Server::Server(Listener listener, const Limits& limits, Handler& handler)
    : Server(std::move(listener), Settings{limits, std::nullopt, {}}, handler)
{
}

Server::Server(Listener listener, Settings settings, Handler& handler)
    : m_daemon(std::make_unique<Daemon>(std::move(listener), std::move(settings), handler))
{
}

Server::~Server() = default;

const std::string& Server::address() const { return m_daemon->address(); }

bool Server::reloadTls() { return m_daemon->reloadTls(); }

} // namespace httpd
