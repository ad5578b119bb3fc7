// SPDX-License-Identifier: MIT
/// \file What stands between a television and its service, and does what a test wants.
#ifndef TESTS_TV_DETOUR_H
#define TESTS_TV_DETOUR_H

#include "support/HttpConnection.h"
#include "support/RawServer.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace test {

/// Hands every request on to a service, unless a test has something else in mind.
class Detour {
public:
    using Rule = std::function<std::optional<RawReply>(const RawRequest& request)>;

    /// \param service its address, "http://127.0.0.1:43211"
    explicit Detour(const std::string& service) : m_service(service.substr(service.rfind('/') + 1))
    {
        m_server.onRequest([this](const RawRequest& request) { return answer(request); });
    }

    std::string url() const { return m_server.url(""); }
    /// Asked before each request is handed on; nothing hands it on. Runs on the connection's thread.
    void rule(Rule rule)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_rule = std::move(rule);
    }
    /// Hands a request on: those of one connection on one connection, by which the service may know them.
    HttpReply handOn(const RawRequest& request)
    {
        std::shared_ptr<HttpConnection> connection;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            auto& known = m_connections[request.connection];
            if (!known)
                known = std::make_shared<HttpConnection>(m_service);
            connection = known;
        }
        connection->send(request.bytes);
        return connection->receive();
    }

private:
    RawReply answer(const RawRequest& request)
    {
        Rule rule;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            rule = m_rule;
        }
        if (rule)
            if (auto reply = rule(request))
                return std::move(*reply);
        const HttpReply reply = handOn(request);
        return RawReply::status(reply.status, reply.body, {"Content-Type: " + reply.header("content-type")});
    }

    std::string m_service;
    std::mutex m_mutex;
    Rule m_rule;                                                          // guarded by m_mutex
    std::map<std::size_t, std::shared_ptr<HttpConnection>> m_connections; // guarded by m_mutex
    RawServer m_server;
};

} // namespace test

#endif
