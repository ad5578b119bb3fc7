// SPDX-License-Identifier: MIT
#include "server/Server.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::size_t HEAD_SIZE = 16u << 10;
constexpr std::size_t FILLER_SIZE = 1u << 20;
constexpr int BACKLOG = 1024;
constexpr std::string_view GO_AHEAD = "HTTP/1.1 100 Continue\r\n\r\n";

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

/// The value of a field, up to the end of the head; empty when the head has none of that name, which is given in lower case.
std::string_view fieldOf(std::string_view head, std::string_view name)
{
    for (std::size_t at = head.find("\r\n"); at != std::string_view::npos; at = head.find("\r\n", at + 2)) {
        const std::string_view line = head.substr(at + 2);
        if (line.size() > name.size() && line[name.size()] == ':' && strncasecmp(line.data(), name.data(), name.size()) == 0)
            return line.substr(name.size() + 1);
    }
    return {};
}

std::uint64_t lengthOf(std::string_view head)
{
    // The value ends with a line break, so it need not end with a NUL.
    const std::string_view value = fieldOf(head, "content-length");
    return value.empty() ? 0 : std::strtoull(value.data(), nullptr, 10);
}

} // namespace

struct Server::Connection {
    int socket = -1;
    char head[HEAD_SIZE]; ///< of the request that is arriving
    std::size_t received = 0;
    std::uint64_t bodyLeft = 0; ///< of the request's body
    bool replying = false;
    Reply reply;
    std::size_t sent = 0;         ///< of the reply's own bytes
    std::uint64_t fillerLeft = 0; ///< of what follows them
    bool watchesOutput = false;
};

Server::Server() : m_filler(FILLER_SIZE, 'x')
{
    m_listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (m_listener < 0 || bind(m_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 || listen(m_listener, BACKLOG) != 0 ||
        getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        fail("listen");
    m_port = ntohs(address.sin_port);
    m_replies = std::make_unique<Replies>(m_port);
    m_epoll = epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = m_listener;
    if (m_epoll < 0 || epoll_ctl(m_epoll, EPOLL_CTL_ADD, m_listener, &event) != 0)
        fail("epoll");
}

Server::~Server()
{
    for (const auto& [socket, connection] : m_connections)
        ::close(socket);
    ::close(m_epoll);
    ::close(m_listener);
}

void Server::run()
{
    epoll_event events[256];
    for (;;) {
        const int count = epoll_wait(m_epoll, events, static_cast<int>(std::size(events)), -1);
        for (int i = 0; i < count; ++i) {
            const int socket = events[i].data.fd;
            if (socket == m_listener)
                accept();
            else if (const auto found = m_connections.find(socket); found != m_connections.end())
                serve(*found->second, events[i].events);
        }
    }
}

void Server::accept()
{
    for (;;) {
        const int socket = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket < 0)
            return;
        const int on = 1;
        setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = socket;
        epoll_ctl(m_epoll, EPOLL_CTL_ADD, socket, &event);
        auto connection = std::make_unique<Connection>();
        connection->socket = socket;
        m_connections[socket] = std::move(connection);
    }
}

void Server::serve(Connection& connection, unsigned int events)
{
    bool open = true;
    if ((events & EPOLLOUT) != 0)
        open = send(connection);
    else if ((events & (EPOLLIN | EPOLLHUP | EPOLLERR)) != 0)
        open = receive(connection);
    if (!open)
        close(connection);
}

/// Reads what has arrived. False: the connection has ended.
bool Server::receive(Connection& connection)
{
    if (connection.bodyLeft > 0)
        return discardBody(connection);
    const ssize_t count = recv(connection.socket, connection.head + connection.received, HEAD_SIZE - connection.received, 0);
    if (count <= 0)
        return count < 0 && (errno == EAGAIN || errno == EINTR);
    connection.received += static_cast<std::size_t>(count);
    return takeHead(connection);
}

/// Answers the request whose head is there, if it is. A client that sends its next request before the reply has it answered when
/// the reply is out.
bool Server::takeHead(Connection& connection)
{
    if (connection.replying)
        return connection.received < HEAD_SIZE;
    const std::string_view received(connection.head, connection.received);
    const std::size_t end = received.find("\r\n\r\n");
    if (end == std::string_view::npos)
        return connection.received < HEAD_SIZE;
    const std::string_view head = received.substr(0, end + 2);
    const std::size_t begin = head.find(' ') + 1;
    connection.reply = m_replies->find(head.substr(begin, head.find(' ', begin) - begin));
    connection.replying = true;
    connection.sent = 0;
    connection.fillerLeft = connection.reply.filler;
    connection.bodyLeft = head[0] == 'P' ? lengthOf(head) : 0;
    if (connection.bodyLeft > 0 && connection.reply.answersExpect && !fieldOf(head, "expect").empty())
        ::send(connection.socket, GO_AHEAD.data(), GO_AHEAD.size(), MSG_NOSIGNAL);

    const std::size_t behind = end + 4;
    const std::size_t ofBody = static_cast<std::size_t>(std::min<std::uint64_t>(connection.bodyLeft, connection.received - behind));
    connection.bodyLeft -= ofBody;
    connection.received -= behind + ofBody;
    std::memmove(connection.head, connection.head + behind + ofBody, connection.received);
    return connection.bodyLeft > 0 ? discardBody(connection) : send(connection);
}

bool Server::discardBody(Connection& connection)
{
    while (connection.bodyLeft > 0) {
        // The kernel drops the bytes without copying them.
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(connection.bodyLeft, FILLER_SIZE));
        const ssize_t count = recv(connection.socket, m_filler.data(), wanted, MSG_TRUNC);
        if (count <= 0)
            return count < 0 && (errno == EAGAIN || errno == EINTR);
        connection.bodyLeft -= static_cast<std::uint64_t>(count);
    }
    return send(connection);
}

/// Sends as much of the reply as there is room for.
bool Server::send(Connection& connection)
{
    if (connection.reply.kind == Reply::Kind::NEVER) {
        connection.received = 0;
        return true;
    }
    const std::string& bytes = *connection.reply.bytes;
    while (connection.sent < bytes.size() || connection.fillerLeft > 0) {
        const auto filler = static_cast<std::size_t>(std::min<std::uint64_t>(connection.fillerLeft, FILLER_SIZE));
        iovec pieces[] = {{const_cast<char*>(bytes.data()) + connection.sent, bytes.size() - connection.sent},
                          {m_filler.data(), filler}};
        msghdr message{};
        message.msg_iov = pieces;
        message.msg_iovlen = filler > 0 ? 2 : 1;
        const ssize_t count = sendmsg(connection.socket, &message, MSG_NOSIGNAL);
        if (count < 0) {
            if (errno != EAGAIN && errno != EINTR)
                return false;
            watch(connection, true);
            return true;
        }
        const std::size_t own = std::min(static_cast<std::size_t>(count), bytes.size() - connection.sent);
        connection.sent += own;
        connection.fillerLeft -= static_cast<std::size_t>(count) - own;
    }
    watch(connection, false);
    if (connection.reply.kind == Reply::Kind::CUT)
        return false;
    connection.replying = false;
    return connection.received == 0 || takeHead(connection);
}

void Server::watch(Connection& connection, bool forOutput)
{
    if (connection.watchesOutput == forOutput)
        return;
    connection.watchesOutput = forOutput;
    epoll_event event{};
    event.events = forOutput ? EPOLLIN | EPOLLOUT : EPOLLIN;
    event.data.fd = connection.socket;
    epoll_ctl(m_epoll, EPOLL_CTL_MOD, connection.socket, &event);
}

void Server::close(Connection& connection)
{
    const int socket = connection.socket;
    m_connections.erase(socket);
    ::close(socket);
}

} // namespace bench
