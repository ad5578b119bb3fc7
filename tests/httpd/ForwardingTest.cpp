// SPDX-License-Identifier: MIT
#include "httpd/Forwarding.h"

#include "ServerFixture.h"

namespace {

using namespace httpd_test;
using httpd::AddressRange;
using httpd::RequestHead;
using Headers = std::vector<httpd::Header>;

const std::vector<AddressRange>& trusted()
{
    static const std::vector<AddressRange> ranges = {*AddressRange::parse("127.0.0.1"), *AddressRange::parse("10.0.0.0/8"),
                                                     *AddressRange::parse("fd00::/8")};
    return ranges;
}

RequestHead headOf(Headers headers, const std::string& address = "127.0.0.1")
{
    RequestHead head;
    head.address = address;
    head.port = 4711;
    head.connection = "127.0.0.1:4711#1";
    head.headers = std::move(headers);
    return head;
}

struct Told {
    const char* what;
    Headers headers;
    std::string address;
    std::uint16_t port;
    std::string scheme;
    std::string connection;
};

class Forwarded : public ::testing::TestWithParam<Told> {};

TEST_P(Forwarded, PutsTheClientInThePlaceOfTheProxy)
{
    RequestHead head = headOf(GetParam().headers);
    ASSERT_EQ(httpd::applyForwarding(head, trusted()), nullptr);
    EXPECT_TRUE(head.forwarded);
    EXPECT_FALSE(head.isLocal());
    EXPECT_EQ(head.address, GetParam().address);
    EXPECT_EQ(head.port, GetParam().port);
    EXPECT_EQ(head.scheme, GetParam().scheme);
    EXPECT_EQ(head.connection, GetParam().connection);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, Forwarded,
    ::testing::Values(
        Told{"address", {{"Forwarded", "for=192.0.2.7"}}, "192.0.2.7", 0, "http", ""},
        Told{"port", {{"Forwarded", "for=\"192.0.2.7:1234\";proto=https"}}, "192.0.2.7", 1234, "https", "192.0.2.7:1234"},
        Told{"unquoted", {{"forwarded", "For=192.0.2.7:1234; Proto=HTTPS ;by=x"}}, "192.0.2.7", 1234, "https", "192.0.2.7:1234"},
        Told{"ipv6", {{"Forwarded", "for=\"[2001:DB8::0:1]:80\""}}, "2001:db8::1", 80, "http", "[2001:db8::1]:80"},
        Told{"ipv6WithoutPort", {{"Forwarded", "for=\"[2001:db8::1]\""}}, "2001:db8::1", 0, "http", ""},
        Told{"mapped", {{"Forwarded", "for=\"[::ffff:192.0.2.7]:80\""}}, "192.0.2.7", 80, "http", "192.0.2.7:80"},
        Told{"hiddenPort", {{"Forwarded", "for=\"192.0.2.7:_x\""}}, "192.0.2.7", 0, "http", ""},
        Told{"unknown", {{"Forwarded", "for=unknown;proto=https"}}, "127.0.0.1", 0, "https", ""},
        Told{"hidden", {{"Forwarded", "for=_gazonk"}}, "127.0.0.1", 0, "http", ""},
        Told{"escaped", {{"Forwarded", "host=\"a\\\",for=1.1.1.1\";for=192.0.2.7"}}, "192.0.2.7", 0, "http", ""},
        Told{"lastProxy", {{"Forwarded", "for=6.6.6.6, for=192.0.2.7"}}, "192.0.2.7", 0, "http", ""},
        Told{
            "row", {{"Forwarded", "for=6.6.6.6, for=192.0.2.7;proto=https, for=10.1.2.3;proto=http"}}, "192.0.2.7", 0, "https", ""},
        Told{"rowInTwoHeaders", {{"Forwarded", "for=192.0.2.7"}, {"Forwarded", "for=10.1.2.3"}}, "192.0.2.7", 0, "http", ""},
        Told{"hiddenBehindTrusted", {{"Forwarded", "for=6.6.6.6, for=unknown, for=10.1.2.3"}}, "127.0.0.1", 0, "http", ""},
        Told{"allTrusted", {{"Forwarded", "for=10.0.0.2, for=10.0.0.1"}}, "10.0.0.2", 0, "http", ""},
        Told{"itself", {{"Forwarded", "for=127.0.0.1"}}, "127.0.0.1", 0, "http", ""},
        Told{"other", {{"X-Forwarded-For", "6.6.6.6, 192.0.2.7"}, {"X-Forwarded-Proto", "https"}}, "192.0.2.7", 0, "https", ""},
        Told{"otherIpv6", {{"X-Forwarded-For", "2001:db8::1"}}, "2001:db8::1", 0, "http", ""},
        Told{"otherWithPort", {{"X-Forwarded-For", "192.0.2.7:99"}}, "192.0.2.7", 99, "http", "192.0.2.7:99"},
        Told{"otherRow", {{"X-Forwarded-For", "192.0.2.7"}, {"x-forwarded-for", "fd00::2"}}, "192.0.2.7", 0, "http", ""},
        Told{"both",
             {{"Forwarded", "for=\"192.0.2.7:5\""}, {"X-Forwarded-For", "192.0.2.7:5"}},
             "192.0.2.7",
             5,
             "http",
             "192.0.2.7:5"},
        // The port of one of the two may be a client's invention.
        Told{"twoPorts", {{"Forwarded", "for=\"192.0.2.7:5\""}, {"X-Forwarded-For", "192.0.2.7:6"}}, "192.0.2.7", 0, "http", ""},
        Told{"portInOne", {{"Forwarded", "for=\"192.0.2.7:5\""}, {"X-Forwarded-For", "192.0.2.7"}}, "192.0.2.7", 0, "http", ""},
        Told{"portInTheOther", {{"Forwarded", "for=192.0.2.7"}, {"X-Forwarded-For", "192.0.2.7:5"}}, "192.0.2.7", 0, "http", ""},
        Told{"twoSchemes", {{"Forwarded", "for=192.0.2.7;proto=https"}, {"X-Forwarded-Proto", "http"}}, "192.0.2.7", 0, "http", ""},
        Told{"oneSchemeTwice",
             {{"Forwarded", "for=192.0.2.7;proto=https"}, {"X-Forwarded-Proto", "https"}},
             "192.0.2.7",
             0,
             "https",
             ""},
        Told{"schemeInTheOther",
             {{"Forwarded", "for=192.0.2.7"}, {"X-Forwarded-Proto", "http, https"}},
             "192.0.2.7",
             0,
             "https",
             ""},
        Told{"schemeAlone", {{"X-Forwarded-Proto", "https"}}, "127.0.0.1", 0, "https", ""},
        Told{"sign", {{"Via", "1.1 x"}}, "127.0.0.1", 0, "http", ""}),
    [](const auto& named) { return std::string(named.param.what); });

class BadForwarded : public ::testing::TestWithParam<Headers> {};

TEST_P(BadForwarded, IsRefused)
{
    RequestHead head = headOf(GetParam());
    EXPECT_NE(httpd::applyForwarding(head, trusted()), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, BadForwarded,
    ::testing::Values(Headers{{"Forwarded", "for=\"192.0.2.7"}}, Headers{{"Forwarded", "for"}}, Headers{{"Forwarded", "for="}},
                      Headers{{"Forwarded", "for=nonsense"}}, Headers{{"Forwarded", "for=2001:db8::1"}},
                      Headers{{"Forwarded", "for=\"[192.0.2.7]\""}}, Headers{{"Forwarded", "for=\"192.0.2.7:99999\""}},
                      Headers{{"Forwarded", "for=\"[::1\""}}, Headers{{"Forwarded", "for=192.0.2.7;for=192.0.2.8"}},
                      Headers{{"Forwarded", "for=192.0.2.7;proto=ftp"}}, Headers{{"Forwarded", "for=192.0.2.7 for=192.0.2.8"}},
                      Headers{{"X-Forwarded-For", "192.0.2.7,"}}, Headers{{"X-Forwarded-For", "x"}},
                      Headers{{"X-Forwarded-Proto", "gopher"}},
                      // A client has written one of the two itself.
                      Headers{{"Forwarded", "for=6.6.6.6"}, {"X-Forwarded-For", "192.0.2.7"}}));

TEST(Forwarding, IsIgnoredFromThoseWhoAreNotTrusted)
{
    RequestHead head = headOf({{"Forwarded", "for=6.6.6.6;proto=https"}, {"X-Forwarded-For", "nonsense"}}, "127.0.0.2");
    EXPECT_EQ(httpd::applyForwarding(head, trusted()), nullptr);
    EXPECT_FALSE(head.forwarded);
    EXPECT_TRUE(head.isLocal());
    EXPECT_EQ(head.address, "127.0.0.2");
    EXPECT_EQ(head.port, 4711);
    EXPECT_EQ(head.scheme, "http");
    EXPECT_EQ(head.connection, "127.0.0.1:4711#1");
}

TEST(Forwarding, IsNotWhatAProxysComputerAsksByItself)
{
    RequestHead head = headOf({{"Accept", "*/*"}});
    EXPECT_EQ(httpd::applyForwarding(head, trusted()), nullptr);
    EXPECT_FALSE(head.forwarded);
    EXPECT_TRUE(head.isLocal());
    EXPECT_EQ(head.connection, "127.0.0.1:4711#1");
}

class ProxiedServer : public ServerFixture {
protected:
    void startBehindProxy()
    {
        m_handler.onRequest = [](const RequestHead& head, httpd::Connection&) {
            return textReply(head.address + " " + head.scheme + " " + head.connection);
        };
        httpd::Settings settings;
        settings.limits = m_limits;
        settings.trustedProxies = {*AddressRange::parse("127.0.0.1")};
        m_server = std::make_unique<httpd::Server>(httpd::Listener("127.0.0.1:0"), settings, m_handler);
    }
    HttpReply from(HttpConnection& client, const std::string& forwarded)
    {
        client.send("GET / HTTP/1.1\r\nHost: a\r\nForwarded: " + forwarded + "\r\n\r\n");
        return client.receive();
    }
};

TEST_F(ProxiedServer, TellsTheClientsOfOneConnectionApart)
{
    startBehindProxy();
    HttpConnection proxy(address());
    EXPECT_EQ(from(proxy, "for=\"192.0.2.7:1\";proto=https").body, "192.0.2.7 https 192.0.2.7:1");
    EXPECT_EQ(from(proxy, "for=\"192.0.2.8:1\"").body, "192.0.2.8 http 192.0.2.8:1");
    EXPECT_EQ(from(proxy, "for=nonsense").status, 400);
    EXPECT_TRUE(proxy.waitForClose());
}

TEST_F(ProxiedServer, BoundsTheRateOfEachClientByItself)
{
    m_limits.requestsPerSecond = 1;
    startBehindProxy();
    HttpConnection proxy(address());
    EXPECT_EQ(from(proxy, "for=192.0.2.7").status, 200);
    EXPECT_EQ(from(proxy, "for=192.0.2.7").status, 429);
    EXPECT_EQ(from(proxy, "for=192.0.2.8").status, 200);
    // Whoever has one address of such a network has all of them.
    EXPECT_EQ(from(proxy, "for=\"[2001:db8::1]\"").status, 200);
    EXPECT_EQ(from(proxy, "for=\"[2001:db8::2]\"").status, 429);
    EXPECT_EQ(from(proxy, "for=\"[2001:db8:0:1::1]\"").status, 200);
}

TEST_F(ProxiedServer, LetsTheProxyHaveMoreConnectionsThanAClient)
{
    m_limits.connectionsPerAddress = 2;
    startBehindProxy();
    std::vector<std::unique_ptr<HttpConnection>> proxies;
    for (int i = 0; i < 5; ++i) {
        proxies.push_back(std::make_unique<HttpConnection>(address()));
        EXPECT_EQ(from(*proxies.back(), "for=192.0.2." + std::to_string(i)).status, 200);
    }
    EXPECT_EQ(from(*proxies.front(), "for=192.0.2.0").status, 200);
}

/// A client, who may have many addresses, and somebody else.
struct Sender {
    const char* name;
    std::vector<std::string> addresses;
    std::string other;
};

class ProxiedSender : public ProxiedServer, public ::testing::WithParamInterface<Sender> {};

INSTANTIATE_TEST_SUITE_P(Addresses, ProxiedSender,
                         ::testing::Values(Sender{"ipv4", {"192.0.2.7", "192.0.2.7", "192.0.2.7"}, "192.0.2.8"},
                                           Sender{"ipv6",
                                                  {"\"[2001:db8::1]\"", "\"[2001:db8::2]\"", "\"[2001:db8::f:0:0:3]\""},
                                                  "\"[2001:db8:0:1::1]\""}),
                         [](const auto& named) { return std::string(named.param.name); });

TEST_P(ProxiedSender, MayHaveSoManyRequestsAtATime)
{
    m_limits.connectionsPerAddress = 2;
    startBehindProxy();
    const auto forwarded = [](const std::string& address) { return "Host: a\r\nForwarded: for=" + address + "\r\n"; };
    const std::vector<std::string>& addresses = GetParam().addresses;
    std::vector<std::unique_ptr<HttpConnection>> waiting;
    m_handler.onRequest = [](const RequestHead&, httpd::Connection&) {
        return httpd::BodyInMemory{10, [](std::string) { return textReply("done"); }};
    };
    for (std::size_t i = 0; i < 2; ++i) {
        waiting.push_back(std::make_unique<HttpConnection>(address()));
        waiting.back()->send("POST / HTTP/1.1\r\n" + forwarded(addresses[i]) + "Expect: 100-continue\r\nContent-Length: 1\r\n\r\n");
        EXPECT_EQ(waiting.back()->receiveInterim(), 100);
    }
    EXPECT_EQ(request("GET / HTTP/1.1\r\n" + forwarded(addresses[2]) + "\r\n").status, 429);
    EXPECT_EQ(request("GET / HTTP/1.1\r\n" + forwarded(GetParam().other) + "\r\n").status, 200);
    waiting[0]->send("x");
    EXPECT_EQ(waiting[0]->receive().body, "done");
    m_handler.waitForEndings(3);
    waiting[0]->send("GET / HTTP/1.1\r\n" + forwarded(addresses[2]) + "\r\n");
    EXPECT_EQ(waiting[0]->receive().status, 200);
}

TEST_F(ProxiedServer, NamesConnectionsOfItsOwnOneByOne)
{
    start([](const RequestHead& head, httpd::Connection&) { return textReply(head.connection); });
    HttpConnection first(address());
    HttpConnection second(address());
    const std::string bytes = "GET / HTTP/1.1\r\nHost: a\r\nForwarded: for=\"192.0.2.7:1\"\r\n\r\n";
    first.send(bytes + bytes);
    second.send(bytes);
    const std::string name = first.receive().body;
    EXPECT_EQ(name.substr(0, 10), "127.0.0.1:");
    EXPECT_EQ(first.receive().body, name);
    EXPECT_NE(second.receive().body, name);
}

} // namespace
