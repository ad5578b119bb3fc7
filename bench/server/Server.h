// SPDX-License-Identifier: MIT
/// \file A small and fast HTTP/1.1 server for the other end of the benchmarks.
#ifndef SERVER_SERVER_H
#define SERVER_SERVER_H

#include "server/Replies.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace bench {

/// Answers on a loopback port with one thread and one epoll set. Bodies of requests are counted and thrown away without being
/// looked at. It trusts its clients: there is no limit, and no header but Content-Length is read.
class Server {
public:
    /// \throw std::system_error
    Server();
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    unsigned short port() const { return m_port; }
    /// Serves until the process ends.
    [[noreturn]] void run();

private:
    struct Connection;

    void accept();
    void serve(Connection& connection, unsigned int events);
    bool receive(Connection& connection);
    bool takeHead(Connection& connection);
    bool discardBody(Connection& connection);
    bool send(Connection& connection);
    void watch(Connection& connection, bool forOutput);
    void close(Connection& connection);

    int m_listener = -1;
    int m_epoll = -1;
    unsigned short m_port = 0;
    std::unique_ptr<Replies> m_replies;
    std::unordered_map<int, std::unique_ptr<Connection>> m_connections;
    std::vector<char> m_filler;
};

} // namespace bench

#endif
