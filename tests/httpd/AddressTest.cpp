// SPDX-License-Identifier: MIT
#include "httpd/Address.h"

#include "httpd/AddressRange.h"

#include "httpd/Listener.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <stdexcept>

namespace {

using namespace httpd;

TEST(HostHeader, IsANameOrAddressAndPerhapsAPort)
{
    for (const char* host : {"a", "openapi.kinloom.example", "127.0.0.1:80", "localhost:65535", "[::1]", "[::1]:8750"})
        EXPECT_TRUE(isHostHeader(host)) << host;
    for (const char* host :
         {"", ":80", "a b", "a/b", "a:", "a:x", "a:65536", "[::1", "[]", "[::1]x", "a\"b", "a<b", "a@b", "a:1:2", "\xC3\xA9"})
        EXPECT_FALSE(isHostHeader(host)) << host;
    EXPECT_FALSE(isHostHeader(std::string(256, 'a')));
}

std::string textOfV6(const char* text)
{
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    EXPECT_EQ(::inet_pton(AF_INET6, text, &address.sin6_addr), 1);
    return addressText(reinterpret_cast<const sockaddr*>(&address));
}

TEST(AddressText, IsWithoutPortAndWithoutMapping)
{
    sockaddr_in v4{};
    v4.sin_family = AF_INET;
    v4.sin_port = htons(80);
    v4.sin_addr.s_addr = htonl(0x7F000001);
    EXPECT_EQ(addressText(reinterpret_cast<const sockaddr*>(&v4)), "127.0.0.1");
    EXPECT_EQ(textOfV6("::1"), "::1");
    EXPECT_EQ(textOfV6("::ffff:10.0.0.1"), "10.0.0.1");
    EXPECT_EQ(addressText(nullptr), "");
    sockaddr other{};
    other.sa_family = AF_UNIX;
    EXPECT_EQ(addressText(&other), "");
}

TEST(AddressText, TellsLoopback)
{
    for (const char* address : {"127.0.0.1", "127.9.9.9", "::1"})
        EXPECT_TRUE(isLoopback(address)) << address;
    for (const char* address : {"", "0.0.0.0", "::", "12.7.0.1", "::11", "10.127.0.1"})
        EXPECT_FALSE(isLoopback(address)) << address;
}

TEST(Network, IsWhatAClientHasOfTheAddresses)
{
    EXPECT_EQ(networkOf("192.0.2.7"), "192.0.2.7");
    EXPECT_EQ(networkOf("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::/64");
    EXPECT_EQ(networkOf("2001:db8:1:2::"), "2001:db8:1:2::/64");
    EXPECT_EQ(networkOf("::1"), "::/64");
    EXPECT_EQ(networkOf("nonsense"), "nonsense");
}

TEST(Listener, TellsWhereItListens)
{
    const Listener v4("127.0.0.1:0");
    EXPECT_EQ(v4.address().compare(0, 10, "127.0.0.1:"), 0);
    EXPECT_GT(std::stoi(v4.address().substr(10)), 0);
    EXPECT_TRUE(v4.isOnLoopback());
    const Listener v6("[::1]:0");
    EXPECT_EQ(v6.address().compare(0, 6, "[::1]:"), 0);
    EXPECT_TRUE(v6.isOnLoopback());
    const Listener everywhere("0.0.0.0:0");
    EXPECT_FALSE(everywhere.isOnLoopback());
}

TEST(Listener, RefusesWhatIsNoAddress)
{
    for (const char* address : {"", ":", "nonsense", "127.0.0.1", "127.0.0.1:", "127.0.0.1:x", "127.0.0.1:70000", ":80", "::1:80",
                                "[]:80", "127.0.0.1:-1"})
        EXPECT_THROW(Listener{address}, std::runtime_error) << address;
}

TEST(Listener, NamesTheAddressThatIsTaken)
{
    const Listener first("127.0.0.1:0");
    try {
        const Listener second(first.address());
        FAIL() << "two listen on " << second.address();
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(first.address()), std::string::npos) << error.what();
    }
}

TEST(AddressRange, HoldsTheAddressesThatBeginAlike)
{
    const auto holds = [](const char* range, const char* address) { return httpd::AddressRange::parse(range)->contains(address); };
    EXPECT_TRUE(holds("192.0.2.7", "192.0.2.7"));
    EXPECT_FALSE(holds("192.0.2.7", "192.0.2.8"));
    EXPECT_TRUE(holds("10.0.0.0/8", "10.255.0.1"));
    EXPECT_FALSE(holds("10.0.0.0/8", "11.0.0.1"));
    EXPECT_TRUE(holds("172.16.0.0/12", "172.31.255.255"));
    EXPECT_FALSE(holds("172.16.0.0/12", "172.32.0.0"));
    EXPECT_TRUE(holds("0.0.0.0/0", "8.8.8.8"));
    EXPECT_FALSE(holds("0.0.0.0/0", "2001:db8::1"));
    EXPECT_TRUE(holds("2001:db8::/33", "2001:db8:7fff::1"));
    EXPECT_FALSE(holds("2001:db8::/33", "2001:db8:8000::1"));
    EXPECT_TRUE(holds("::ffff:192.0.2.7", "192.0.2.7")) << "however it is written";
    EXPECT_FALSE(holds("0.0.0.0/0", "")) << "what is no address is nowhere";
    EXPECT_FALSE(holds("::/0", "unknown"));
}

TEST(AddressRange, IsReadWholeOrNotAtAll)
{
    for (const char* text : {"", "a", "10", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/8x", "/8", "::/129", "[::1]",
                             "10.0.0.1:80", "10.0.0.0/8/8", " 10.0.0.1"})
        EXPECT_FALSE(httpd::AddressRange::parse(text)) << text;
}

TEST(Address, IsPrivateWhereTheInternetDoesNotCarryIt)
{
    for (const char* address :
         {"127.0.0.1", "10.1.2.3", "172.16.0.1", "192.168.178.20", "169.254.1.1", "::1", "fd12::1", "fe80::1"})
        EXPECT_TRUE(httpd::isPrivate(address)) << address;
    for (const char* address : {"0.0.0.0", "::", "8.8.8.8", "172.32.0.1", "192.169.0.1", "2001:db8::1", "", "a"})
        EXPECT_FALSE(httpd::isPrivate(address)) << address;
}

TEST(Address, IsOneText)
{
    EXPECT_EQ(httpd::canonicalAddress("2001:DB8:0::1"), "2001:db8::1");
    EXPECT_EQ(httpd::canonicalAddress("::ffff:192.0.2.7"), "192.0.2.7");
    EXPECT_EQ(httpd::canonicalAddress("192.0.2.7"), "192.0.2.7");
    EXPECT_EQ(httpd::canonicalAddress("192.0.2.07"), "");
    EXPECT_EQ(httpd::authorityOf("192.0.2.7", 80), "192.0.2.7:80");
    EXPECT_EQ(httpd::authorityOf("2001:db8::1", 80), "[2001:db8::1]:80");
}

} // namespace
