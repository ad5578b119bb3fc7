// SPDX-License-Identifier: MIT
#include "ServerFixture.h"

#include <future>

namespace {

using namespace httpd_test;
using httpd::BodyInMemory;
using httpd::Connection;
using httpd::Decision;
using httpd::RequestHead;

std::string post(const std::string& body, const std::string& target = "/")
{
    return "POST " + target + " HTTP/1.1\r\nHost: a\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

std::string chunked(const std::string& body)
{
    char size[32];
    std::snprintf(size, sizeof size, "%zx", body.size());
    return std::string("POST / HTTP/1.1\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n") + size + "\r\n" + body + "\r\n0\r\n\r\n";
}

class Body : public ServerFixture {
protected:
    /// Collects at most so many bytes, and answers with them.
    void startEcho(std::size_t limit)
    {
        start([limit](const RequestHead&, Connection&) {
            return BodyInMemory{limit, [](std::string body) { return textReply(std::move(body)); }};
        });
    }
};

TEST_F(Body, IsCollectedInMemory)
{
    startEcho(1'000'000);
    const std::string large(1'000'000, 'x');
    EXPECT_EQ(request(post("")).body, "");
    EXPECT_EQ(request(post("abc")).body, "abc");
    EXPECT_EQ(request(post(large)).body, large);
    EXPECT_EQ(request(chunked("abc")).body, "abc");
    EXPECT_EQ(get("/").status, 200) << "a request without a body has an empty one";
}

TEST_F(Body, IsRefusedAboveTheLimit)
{
    startEcho(10);
    EXPECT_EQ(request(post("0123456789")).status, 200);
    EXPECT_EQ(request(post("0123456789a")).status, 413);
    EXPECT_EQ(request(chunked("0123456789a")).status, 413) << "without being announced, too";
    EXPECT_EQ(request("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 1000000000000\r\n\r\n").status, 413) << "before it is sent";
}

TEST_F(Body, IsRefusedInTheWordsOfTheDecision)
{
    start([](const RequestHead&, Connection&) {
        return BodyInMemory{1, [](std::string) { return textReply("taken"); }, [] { return textReply("no", 400); }};
    });
    EXPECT_EQ(request(post("ab")).body, "no");
    EXPECT_EQ(request(chunked("ab")).status, 400);
    EXPECT_EQ(request(post("a")).body, "taken");
}

TEST_F(Body, IsDroppedWhenTheReplyIsThereAlready)
{
    startWithText("early");
    HttpConnection client(address());
    EXPECT_TRUE(client.send(post(std::string(500'000, 'x')) + post("")));
    EXPECT_EQ(client.receive().body, "early");
    EXPECT_EQ(client.receive().body, "early") << "the connection is still good";
}

TEST_F(Body, ClosesTheConnectionWhenTooMuchWouldBeDropped)
{
    start([](const RequestHead& head, Connection&) {
        Decision decision(textReply("early"));
        decision.dropLimit = head.path() == "/patient" ? 2 << 20 : 10;
        return decision;
    });
    HttpConnection hasty(address());
    hasty.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 11\r\n\r\n");
    const HttpReply response = hasty.receive();
    EXPECT_EQ(response.body, "early");
    EXPECT_EQ(response.header("connection"), "close");
    EXPECT_TRUE(hasty.waitForClose());
    HttpConnection unannounced(address());
    unannounced.send(chunked(std::string(5000, 'x')));
    EXPECT_TRUE(unannounced.waitForClose());
    EXPECT_EQ(request(post(std::string(2 << 20, 'x'), "/patient")).body, "early");
}

/// Notes what it is given; refuses a body that holds "stop".
class Sink : public httpd::BodySink {
public:
    struct Log {
        std::string taken;
        bool finished = false;
        std::promise<void> destroyed;
    };
    explicit Sink(Log& log) : m_log(log) {}
    ~Sink() override { m_log.destroyed.set_value(); }

    std::optional<httpd::Reply> feed(std::string_view bytes) override
    {
        m_log.taken += bytes;
        if (m_log.taken.find("throw") != std::string::npos)
            throw std::runtime_error("disk full");
        if (m_log.taken.find("stop") != std::string::npos)
            return textReply("stopped", 400);
        return std::nullopt;
    }
    httpd::Reply finish() override
    {
        m_log.finished = true;
        return textReply("took " + std::to_string(m_log.taken.size()));
    }

private:
    Log& m_log;
};

class BodySink : public Body {
protected:
    void startSink()
    {
        start([this](const RequestHead&, Connection&) { return Decision(std::make_unique<Sink>(m_log)); });
    }
    bool isDestroyed() { return m_log.destroyed.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready; }

    Sink::Log m_log;
};

TEST_F(BodySink, TakesTheBodyAsItArrives)
{
    startSink();
    EXPECT_EQ(request(post(std::string(3'000'000, 'x'))).body, "took 3000000");
    EXPECT_TRUE(isDestroyed());
}

TEST_F(BodySink, MayEndTheIntakeWithAReply)
{
    startSink();
    HttpConnection client(address());
    EXPECT_TRUE(client.send(post("stop" + std::string(400'000, 'x'))));
    EXPECT_EQ(client.receive().body, "stopped");
    EXPECT_TRUE(isDestroyed());
    EXPECT_FALSE(m_log.finished);
    EXPECT_LT(m_log.taken.size(), 400'000U) << "the rest was dropped";
}

TEST_F(BodySink, IsAnsweredForWhenItThrows)
{
    startSink();
    EXPECT_EQ(request(post("throw")).status, 500);
    EXPECT_TRUE(isDestroyed());
    EXPECT_FALSE(m_log.finished);
}

TEST_F(BodySink, IsDestroyedUnfinishedWhenTheClientGoes)
{
    startSink();
    {
        HttpConnection client(address());
        client.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 100\r\n\r\nabc");
    }
    EXPECT_TRUE(isDestroyed());
    EXPECT_FALSE(m_log.finished);
    EXPECT_EQ(m_handler.waitForEndings(1)[0].status, std::nullopt);
}

} // namespace
