// SPDX-License-Identifier: MIT
// Many connections at a time, most of them of somebody who means no good.
#include "ServerFixture.h"

#include "support/Wait.h"

#include <atomic>
#include <thread>

namespace {

using namespace httpd_test;
using httpd::RequestHead;
using std::chrono::milliseconds;

constexpr const char* GOOD = "GET /good HTTP/1.1\r\nHost: a\r\n\r\n";

/// What somebody sends on each of many connections, to keep all of them.
struct Idling {
    const char* what;
    std::string bytes;
};

class CrowdedServer : public ServerFixture {
protected:
    void SetUp() override
    {
        m_limits.connections = 60;
        m_limits.connectionsPerAddress = 20;
    }
    /// Paths that begin with "/good" are for those who have signed. Whether somebody may have "/secret" shows only in the end.
    void startStrict()
    {
        start([](const RequestHead& head, httpd::Connection&) -> httpd::Decision {
            if (head.path() == "/large")
                return textReply(std::string(4'000'000, 'x'));
            if (head.path() == "/secret")
                return httpd::BodyInMemory{100'000, [](const std::string&) { return textReply("nothing there", 404); }};
            if (head.path().substr(0, 5) != "/good")
                return textReply("who are you?", 401);
            if (head.method == "POST") {
                httpd::Decision decision(
                    httpd::BodyInMemory{100'000, [](const std::string& body) { return textReply(std::to_string(body.size())); }});
                decision.known = true;
                return decision;
            }
            httpd::Decision decision(textReply("good"));
            decision.known = true;
            return decision;
        });
    }
    bool serves()
    {
        HttpConnection late(address());
        late.send(GOOD);
        return late.receive().body == "good";
    }
    std::vector<std::unique_ptr<HttpConnection>> crowdOf(const std::string& bytes)
    {
        std::vector<std::unique_ptr<HttpConnection>> crowd;
        for (unsigned i = 0; i < m_limits.connectionsPerAddress; ++i) {
            crowd.push_back(std::make_unique<HttpConnection>(address()));
            crowd.back()->send(bytes);
        }
        return crowd;
    }
};

class Crowd : public CrowdedServer, public ::testing::WithParamInterface<Idling> {};

TEST_P(Crowd, GivesWayToThoseWhoWork)
{
    startStrict();
    HttpConnection early(address());
    early.send(GOOD);
    ASSERT_EQ(early.receive().body, "good");
    HttpConnection upload(address());
    upload.send("POST /good HTTP/1.1\r\nHost: a\r\nExpect: 100-continue\r\nContent-Length: 5\r\n\r\n");
    ASSERT_EQ(upload.receiveInterim(), 100);
    std::vector<std::unique_ptr<HttpConnection>> crowd;
    for (int i = 0; i < 100; ++i) {
        crowd.push_back(std::make_unique<HttpConnection>(address()));
        crowd.back()->send(GetParam().bytes);
        if (i % 20 == 19) {
            HttpConnection late(address());
            late.send(GOOD);
            EXPECT_EQ(late.receive().body, "good") << "after " << i + 1;
        }
    }
    EXPECT_TRUE(crowd.front()->waitForClose()) << "the oldest goes first";
    early.send(GOOD);
    EXPECT_EQ(early.receive().body, "good") << "who has worked stays";
    upload.send("12345");
    EXPECT_EQ(upload.receive().body, "5") << "and so does who is sending what is wanted";
}

INSTANTIATE_TEST_SUITE_P(
    Connections, Crowd,
    ::testing::Values(Idling{"silent", ""}, Idling{"slow_headers", "GET / HTTP/1.1\r\nHost: a\r\nX-a: b\r\n"},
                      Idling{"slow_body", "POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 8192\r\n\r\nfoo=bar"},
                      Idling{"slow_secret", "GET /secret HTTP/1.1\r\nHost: a\r\nContent-Length: 8192\r\n\r\nx"},
                      Idling{"nothing_there", "GET /secret HTTP/1.1\r\nHost: a\r\n\r\n"},
                      Idling{"ranges", "HEAD / HTTP/1.1\r\nHost: a\r\nRange: bytes=0-,5-0,5-1\r\n\r\n"},
                      Idling{"slow_readers", "GET / HTTP/1.1\r\nHost: a\r\n\r\nGET / HTTP/1.1\r\nHost: a\r\n\r\n"}),
    [](const auto& named) { return std::string(named.param.what); });

TEST_F(CrowdedServer, ServesOthersWhileRepliesAreNotRead)
{
    startStrict();
    const auto crowd = crowdOf("GET /large HTTP/1.1\r\nHost: a\r\n\r\n");
    EXPECT_TRUE(test::comesTrue([&] { return serves(); }));
}

TEST_F(CrowdedServer, KeepsWhoReadsWhileOthersDoNot)
{
    const std::string large = "GET /large HTTP/1.1\r\nHost: a\r\n\r\n";
    startStrict();
    HttpConnection reader(address());
    reader.send(GOOD);
    ASSERT_EQ(reader.receive().body, "good");
    std::atomic<bool> over{false};
    std::atomic<unsigned> torn{0};
    std::thread reading([&] {
        while (!over) {
            reader.send(large);
            torn += reader.receive().body.size() == 4'000'000 ? 0 : 1;
        }
    });
    const auto crowd = crowdOf(large);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(test::comesTrue([&] { return serves(); }));
    over = true;
    reading.join();
    EXPECT_EQ(torn, 0U);
}

TEST_F(CrowdedServer, LeavesRoomForAThirdAddress)
{
    m_limits.connections = 40;
    m_server.reset();
    m_handler.onRequest = [](const RequestHead&, httpd::Connection&) { return textReply("good"); };
    m_server = std::make_unique<httpd::Server>(httpd::Listener("127.0.0.1:0"), m_limits, m_handler);
    std::vector<std::unique_ptr<HttpConnection>> crowd;
    crowd.reserve(40);
    for (int i = 0; i < 40; ++i)
        crowd.push_back(std::make_unique<HttpConnection>(address(), i % 2 == 0 ? "127.0.0.2" : "127.0.0.3"));
    EXPECT_EQ(get("/").body, "good");
}

TEST_F(CrowdedServer, ServesOthersInAStorm)
{
    m_limits.connections = 512;
    m_limits.connectionsPerAddress = 256;
    startStrict();
    std::atomic<bool> over{false};
    // Opens connections as fast as they can be had, and keeps the last ones.
    std::thread storm([&] {
        std::vector<std::unique_ptr<HttpConnection>> crowd(500);
        for (std::size_t i = 0; !over; ++i) {
            crowd[i % crowd.size()] = std::make_unique<HttpConnection>(address());
            crowd[i % crowd.size()]->send("GET / HTTP/1.1\r\nHost: a\r\nX-");
            std::this_thread::sleep_for(milliseconds(1));
        }
    });
    HttpConnection steady(address());
    int served = 0;
    for (int i = 0; i < 200; ++i) {
        HttpConnection fresh(address());
        fresh.send(GOOD);
        served += fresh.receive().body == "good" ? 1 : 0;
        steady.send(GOOD);
        ASSERT_EQ(steady.receive().body, "good");
    }
    over = true;
    storm.join();
    EXPECT_GE(served, 199);
}

} // namespace
