// SPDX-License-Identifier: MIT
#include "ServerFixture.h"

#include "httpd/ConnectionWatch.h"
#include "httpd/RateLimit.h"
#include "httpd/UniqueFd.h"

#include <ctime>
#include <sys/socket.h>

namespace {

using namespace httpd_test;
using httpd::Connection;
using httpd::RequestHead;
using std::chrono::milliseconds;

constexpr const char* GET = "GET / HTTP/1.1\r\nHost: a\r\n\r\n";

class Limits : public ServerFixture {
protected:
    /// Sends a byte again and again. \return whether the server closed the connection, within some seconds.
    static bool isClosedWhileDripping(HttpConnection& client)
    {
        for (int i = 0; i < 60; ++i) {
            client.send("x");
            if (client.waitForClose(milliseconds(100)))
                return true;
        }
        return false;
    }
};

TEST_F(Limits, RefuseHeadersThatAreTooLarge)
{
    m_limits.headerBytes = 1000;
    startWithText("");
    const std::string begin = "GET / HTTP/1.1\r\nHost: a\r\nX: ";
    EXPECT_EQ(request(begin + std::string(500, 'x') + "\r\n\r\n").status, 200);
    HttpConnection client(address());
    client.send(begin + std::string(1000, 'x') + "\r\n\r\n");
    EXPECT_EQ(client.receive().status, 431);
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(Limits, BoundTheRateOfAnAddress)
{
    m_limits.requestsPerSecond = 3;
    startWithText("");
    HttpConnection client(address());
    int refused = 0;
    for (int i = 0; i < 20; ++i) {
        client.send(GET);
        refused += client.receive().status == 429 ? 1 : 0;
    }
    EXPECT_GT(refused, 5);
    EXPECT_LT(refused, 20);
}

TEST(RateLimit, CountsEachAddressByItself)
{
    httpd::RateLimit rate(2);
    EXPECT_TRUE(rate.admit("a"));
    EXPECT_TRUE(rate.admit("a"));
    EXPECT_FALSE(rate.admit("a"));
    EXPECT_TRUE(rate.admit("b"));
}

TEST(RateLimit, KnowsNoLimitOfNothing)
{
    httpd::RateLimit rate(0);
    for (int i = 0; i < 10'000; ++i)
        ASSERT_TRUE(rate.admit("a"));
}

TEST(RateLimit, RemembersAnAddressAmongMany)
{
    httpd::RateLimit rate(1);
    EXPECT_TRUE(rate.admit("a"));
    for (int i = 0; i < 5000; ++i)
        EXPECT_TRUE(rate.admit(std::to_string(i)));
    EXPECT_FALSE(rate.admit("4999"));
}

TEST(RateLimit, LooksForOldAddressesOnceASecondAndNotEachTime)
{
    httpd::RateLimit rate(1);
    const std::clock_t begin = std::clock();
    for (int i = 0; i < 200'000; ++i)
        ASSERT_TRUE(rate.admit(std::to_string(i)));
    // A fraction of a second; looking at all of them each time takes minutes.
    EXPECT_LT(std::clock() - begin, 10 * CLOCKS_PER_SEC);
}

TEST(ConnectionWatch, CountsTheConnectionsOfANetworkOfAddresses)
{
    httpd::Limits limits;
    limits.connectionsPerAddress = 2;
    httpd::Counters counters;
    httpd::ConnectionWatch watch(limits, counters);
    std::vector<httpd::UniqueFd> sockets;
    const auto opened = [&](const char* address) {
        sockets.emplace_back(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const int socket = sockets.back().get();
        if (!watch.opened(socket, address, false))
            return false;
        // One that is at work gives way to nobody.
        watch.requestBegun(socket);
        watch.worked(socket);
        return true;
    };
    EXPECT_TRUE(opened("2001:db8::1"));
    EXPECT_TRUE(opened("2001:db8::2"));
    EXPECT_FALSE(opened("2001:db8::3"));
    EXPECT_TRUE(opened("2001:db8:0:1::1"));
}

TEST_F(Limits, BoundTheConnectionsOfAnAddress)
{
    m_limits.connectionsPerAddress = 2;
    startWithText("");
    HttpConnection first(address());
    HttpConnection second(address());
    for (HttpConnection* client : {&first, &second}) {
        client->send(GET);
        EXPECT_EQ(client->receive().status, 200);
    }
    HttpConnection third(address());
    third.send(GET);
    EXPECT_EQ(third.receive().status, 0);
    first.send(GET);
    EXPECT_EQ(first.receive().status, 200) << "the others go on";
}

TEST_F(Limits, EndConnectionsOnWhichNothingComes)
{
    m_limits.idleTime = milliseconds(1000);
    startWithText("");
    HttpConnection idle(address());
    EXPECT_TRUE(idle.waitForClose());
}

TEST_F(Limits, EndConnectionsWhoseHeadersDripIn)
{
    m_limits.headerTime = milliseconds(700);
    startWithText("");
    HttpConnection slow(address());
    slow.send("GET /");
    EXPECT_TRUE(isClosedWhileDripping(slow));
}

TEST_F(Limits, EndConnectionsWhoseBodyDripsIn)
{
    m_limits.headerTime = milliseconds(700);
    m_limits.bytesPerSecond = 1000;
    startWithText("");
    HttpConnection slow(address());
    slow.send("POST / HTTP/1.1\r\nHost: a\r\nContent-Length: 900\r\n\r\n");
    EXPECT_TRUE(isClosedWhileDripping(slow));
}

TEST_F(Limits, LetTimeStandStillWhileTheHandlerHoldsTheClient)
{
    m_limits.headerTime = milliseconds(200);
    start([](const RequestHead& head, Connection& connection) {
        if (head.path() == "/held")
            connection.hold();
        // Beyond the header time and two rounds of the watch.
        const bool alone = connection.wait(-1, milliseconds(1500)) == Connection::Event::TIMED_OUT;
        return textReply(alone ? "alone" : "cut off");
    });
    EXPECT_EQ(get("/held").body, "alone");
    EXPECT_EQ(get("/").status, 0) << "without being held the client is given up";
}

} // namespace
