// SPDX-License-Identifier: MIT
/// \file A server in the test's own process.
#ifndef TESTS_HTTPD_SERVERFIXTURE_H
#define TESTS_HTTPD_SERVERFIXTURE_H

#include "support/HttpConnection.h"

#include "httpd/Server.h"

#include <condition_variable>
#include <csignal>
#include <gtest/gtest.h>
#include <mutex>

namespace httpd_test {

using test::HttpConnection;
using test::HttpReply;

/// Does what the test says, and notes what ends.
class ScriptedHandler : public httpd::Handler {
public:
    using Script = std::function<httpd::Decision(const httpd::RequestHead&, httpd::Connection&)>;

    struct Ending {
        std::string target;
        std::optional<unsigned> status;
    };

    Script onRequest;
    std::function<void()> onStopping = [] {};

    httpd::Decision decide(const httpd::RequestHead& head, httpd::Connection& connection) override
    {
        return onRequest(head, connection);
    }
    void ended(const httpd::RequestHead& head, std::optional<unsigned> status, std::chrono::steady_clock::duration) override
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_endings.push_back({head.target, status});
        m_change.notify_all();
    }
    void stopping() override { onStopping(); }

    /// Waits until so many requests have ended, and tells how.
    std::vector<Ending> waitForEndings(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        EXPECT_TRUE(m_change.wait_for(lock, std::chrono::seconds(10), [&] { return m_endings.size() >= count; }));
        return m_endings;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_change;
    std::vector<Ending> m_endings; // guarded by m_mutex
};

inline httpd::Reply textReply(std::string text, unsigned status = 200)
{
    httpd::Reply reply;
    reply.status = status;
    reply.contentType = "text/plain";
    reply.body.emplace<std::string>(std::move(text));
    return reply;
}

/// Each test has a server of its own, on loopback; set limits and handler first.
class ServerFixture : public ::testing::Test {
protected:
    static void SetUpTestSuite() { std::signal(SIGPIPE, SIG_IGN); }
    /// Before the members of a test are gone, which the handler may refer to.
    void TearDown() override { m_server.reset(); }

    void start(ScriptedHandler::Script script)
    {
        m_server.reset();
        m_handler.onRequest = std::move(script);
        m_server = std::make_unique<httpd::Server>(httpd::Listener("127.0.0.1:0"), m_limits, m_handler);
    }
    /// Answers every request with a text, whatever its body.
    void startWithText(const std::string& text)
    {
        start([text](const httpd::RequestHead&, httpd::Connection&) { return textReply(text); });
    }
    const std::string& address() const { return m_server->address(); }

    /// One request on a connection of its own.
    HttpReply request(std::string_view bytes, bool headOnly = false)
    {
        HttpConnection client(address());
        client.send(bytes);
        return client.receive(headOnly);
    }
    HttpReply get(const std::string& target) { return request("GET " + target + " HTTP/1.1\r\nHost: a\r\n\r\n"); }

    httpd::Limits m_limits;
    ScriptedHandler m_handler;
    std::unique_ptr<httpd::Server> m_server;
};

} // namespace httpd_test

#endif
