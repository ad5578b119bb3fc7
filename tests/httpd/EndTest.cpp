// SPDX-License-Identifier: MIT
#include "ServerFixture.h"

#include "httpd/Channel.h"

#include <future>

namespace {

using namespace httpd_test;
using httpd::Connection;
using httpd::RequestHead;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr const char* GET = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

class End : public ServerFixture {
protected:
    /// Ends the server. \return how many requests had ended by the time the handler was told to stop: when a request does not end
    /// by itself, the handler is told after a second.
    std::size_t end()
    {
        std::size_t count = 0;
        m_handler.onStopping = [&] { count = m_handler.waitForEndings(0).size(); };
        m_server.reset();
        return count;
    }

    std::promise<void> m_begun;
};

TEST_F(End, ClosesConnectionsWithoutRequests)
{
    startWithText("");
    const std::string where = address();
    HttpConnection idle(where);
    HttpConnection half(where);
    half.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Le");
    EXPECT_EQ(get("/").status, 200);
    end();
    EXPECT_TRUE(idle.waitForClose());
    EXPECT_TRUE(half.waitForClose());
    EXPECT_THROW(HttpConnection late(where), std::runtime_error);
}

TEST_F(End, LetsARunningRequestFinish)
{
    start([this](const RequestHead&, Connection& connection) {
        m_begun.set_value();
        // The first that the request learns of the end; it is answered all the same.
        return textReply(connection.wait(-1, seconds(10)) == Connection::Event::CLOSING ? "closing" : "something else");
    });
    HttpConnection client(address());
    client.send(GET);
    m_begun.get_future().wait();
    EXPECT_EQ(end(), 1U) << "the request has ended by itself";
    EXPECT_EQ(client.receive().body, "closing");
}

TEST_F(End, TellsTheHandlerToStopWhatRunsOn)
{
    std::promise<void> stopping;
    auto stopped = stopping.get_future();
    m_handler.onStopping = [&] { stopping.set_value(); };
    start([&](const RequestHead&, Connection&) {
        m_begun.set_value();
        stopped.wait();
        return textReply("stopped");
    });
    HttpConnection client(address());
    client.send(GET);
    m_begun.get_future().wait();
    const auto begun = steady_clock::now();
    m_server.reset();
    const auto time = steady_clock::now() - begun;
    EXPECT_GE(time, milliseconds(1000)) << "the request has had its time";
    EXPECT_LT(time, milliseconds(5000));
}

TEST_F(End, EndsStreamsInGoodOrder)
{
    const auto channel = std::make_shared<httpd::Channel>();
    start([&](const RequestHead&, Connection&) {
        httpd::Reply reply;
        reply.body.emplace<httpd::StreamBody>(httpd::Channel::body(channel));
        return reply;
    });
    HttpConnection client(address());
    client.send(GET);
    channel->write("last words");
    EXPECT_EQ(client.receiveHead().status, 200);
    EXPECT_EQ(client.receiveChunk(), "last words");
    EXPECT_EQ(end(), 1U) << "the stream has ended by itself";
    EXPECT_EQ(client.receiveChunk(), "") << "the client sees that the body is whole";
    EXPECT_FALSE(channel->write("more"));
}

class Waiting : public ServerFixture {};

TEST_F(Waiting, EndsWithWhateverComesFirst)
{
    int pipe[2];
    ASSERT_EQ(::pipe(pipe), 0);
    const httpd::UniqueFd out(pipe[0]);
    const httpd::UniqueFd in(pipe[1]);
    std::promise<void> timedOut;
    std::promise<Connection::Event> second;
    std::promise<Connection::Event> third;
    start([&](const RequestHead& head, Connection& connection) {
        if (head.path() == "/goes") {
            third.set_value(connection.wait(out.get()));
        } else {
            EXPECT_EQ(connection.wait(out.get(), milliseconds(1)), Connection::Event::TIMED_OUT);
            timedOut.set_value();
            second.set_value(connection.wait(out.get(), seconds(10)));
            char byte = 0;
            EXPECT_EQ(::read(out.get(), &byte, 1), 1);
        }
        return textReply("");
    });
    HttpConnection client(address());
    client.send(GET);
    timedOut.get_future().wait();
    EXPECT_EQ(::write(in.get(), "x", 1), 1);
    EXPECT_EQ(second.get_future().get(), Connection::Event::READABLE);
    EXPECT_EQ(client.receive().status, 200);
    client.send("GET /goes HTTP/1.1\r\nHost: a\r\n\r\n");
    client.hangUp();
    EXPECT_EQ(third.get_future().get(), Connection::Event::HUNG_UP);
}

} // namespace
