// SPDX-License-Identifier: MIT
#include "support/TcpFront.h"

#include <arpa/inet.h>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <netinet/in.h>
#include <poll.h>
#include <set>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace test {

namespace {

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool sendAll(int socket, const char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = ::send(socket, bytes, size, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

} // namespace

struct TcpFront::State {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    std::uint16_t backend = 0;
    std::uint16_t port = 0;
    int listener = -1;
    int stop = -1; ///< readable for good at the end
    bool away = false;
    bool hold = false;
    std::size_t held = 0;
    std::uint64_t sentLeft = UINT64_MAX;
    std::uint64_t receivedLeft = UINT64_MAX;
    std::set<int> sockets; ///< open ones, of both sides
    std::thread acceptor;
    std::vector<std::thread> threads;

    void goAway()
    {
        away = true;
        for (const int socket : sockets)
            ::shutdown(socket, SHUT_RDWR);
    }

    void acceptAll()
    {
        for (;;) {
            pollfd events[2] = {{listener, POLLIN, 0}, {stop, POLLIN, 0}};
            if (::poll(events, 2, -1) < 0 || events[1].revents != 0)
                return;
            const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                continue;
            const std::lock_guard<std::mutex> lock(mutex);
            if (away) {
                const linger now = {1, 0};
                ::setsockopt(client, SOL_SOCKET, SO_LINGER, &now, sizeof now);
                ::close(client);
                continue;
            }
            sockets.insert(client);
            threads.emplace_back([this, client] { pass(client); });
        }
    }

    void pass(int client)
    {
        const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = loopback(backend);
        if (::connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            {
                const std::lock_guard<std::mutex> lock(mutex);
                sockets.insert(server);
            }
            while (passSome(client, server)) {
            }
        }
        const std::lock_guard<std::mutex> lock(mutex);
        for (const int socket : {client, server}) {
            sockets.erase(socket);
            ::close(socket);
        }
    }

    bool passSome(int client, int server)
    {
        pollfd events[3] = {{client, POLLIN, 0}, {isHeld(server) ? -1 : server, POLLIN, 0}, {stop, POLLIN, 0}};
        if (::poll(events, 3, -1) < 0 || events[2].revents != 0)
            return false;
        if (events[0].revents != 0)
            return passFrom(client, server, sentLeft);
        // Looked at again: it may be kept back since.
        return isHeld(server) || passFrom(server, client, receivedLeft);
    }

    /// \return whether the server says something that is kept back.
    bool isHeld(int server)
    {
        pollfd event{server, POLLIN, 0};
        const bool speaks = ::poll(&event, 1, 0) > 0;
        const std::lock_guard<std::mutex> lock(mutex);
        if (hold && speaks && ++held == 1)
            changed.notify_all();
        return hold && speaks;
    }

    bool passFrom(int from, int to, std::uint64_t& left)
    {
        char block[16384];
        const ssize_t count = ::recv(from, block, sizeof block, 0);
        if (count <= 0)
            return false;
        {
            const std::lock_guard<std::mutex> lock(mutex);
            const auto size = static_cast<std::uint64_t>(count);
            if (left <= size) {
                left = UINT64_MAX;
                goAway();
                return false;
            }
            if (left != UINT64_MAX)
                left -= size;
        }
        return sendAll(to, block, static_cast<std::size_t>(count));
    }
};

TcpFront::TcpFront(std::uint16_t backend) : m_state(std::make_unique<State>())
{
    State& s = *m_state;
    s.backend = backend;
    s.listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    s.stop = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    sockaddr_in address = loopback(0);
    socklen_t size = sizeof address;
    if (s.listener < 0 || s.stop < 0 || ::bind(s.listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        ::listen(s.listener, SOMAXCONN) != 0 || ::getsockname(s.listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        throw std::runtime_error(std::string("no port to listen on: ") + std::strerror(errno));
    s.port = ntohs(address.sin_port);
    s.acceptor = std::thread([&s] { s.acceptAll(); });
}

TcpFront::~TcpFront()
{
    State& s = *m_state;
    ::eventfd_write(s.stop, 1);
    s.acceptor.join();
    setAway(true);
    for (std::thread& thread : s.threads)
        thread.join();
    ::close(s.listener);
    ::close(s.stop);
}

std::string TcpFront::url() const { return "http://127.0.0.1:" + std::to_string(m_state->port); }

void TcpFront::setAway(bool away)
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->away = away;
    if (away)
        m_state->goAway();
}

void TcpFront::goAwayAfterSent(std::uint64_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->sentLeft = bytes;
}

void TcpFront::goAwayAfterReceived(std::uint64_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->receivedLeft = bytes;
}

void TcpFront::holdReplies(bool hold)
{
    const std::lock_guard<std::mutex> lock(m_state->mutex);
    m_state->hold = hold;
}

bool TcpFront::waitForHeld(std::chrono::milliseconds patience) const
{
    std::unique_lock<std::mutex> lock(m_state->mutex);
    return m_state->changed.wait_for(lock, patience, [this] { return m_state->held > 0; });
}

} // namespace test
