// SPDX-License-Identifier: MIT
// Which addresses lie within a house, at the edges of each network.
#include "core/HomeNetwork.h"
#include "core/HostEvents.h"
#include "kinloom/Route.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kinloom;

namespace {

TEST(HomeNetwork, HoldsThisComputerAndPrivateNetworks)
{
    for (const char* address : {"127.0.0.1",
                                "127.255.255.255",
                                "10.0.0.0",
                                "10.255.255.255",
                                "172.16.0.0",
                                "172.31.255.255",
                                "192.168.0.0",
                                "192.168.255.255",
                                "169.254.0.1",
                                "169.254.255.255",
                                "100.64.0.0",
                                "100.127.255.255",
                                "::1",
                                "fc00::",
                                "fdff:ffff::1",
                                "fe80::1",
                                "fe80::1%eth0",
                                "febf:ffff::1",
                                "::ffff:10.0.0.1",
                                "::ffff:127.0.0.1",
                                "FD00::1",
                                "::ffff:192.168.1.9",
                                "::ffff:a9fe:0001"})
        EXPECT_TRUE(isHomeAddress(address)) << address;
}

TEST(HomeNetwork, HoldsNothingElse)
{
    for (const char* address : {"126.255.255.255",
                                "128.0.0.0",
                                "9.255.255.255",
                                "11.0.0.0",
                                "172.15.255.255",
                                "172.32.0.0",
                                "192.167.255.255",
                                "192.169.0.0",
                                "169.253.255.255",
                                "169.255.0.0",
                                "100.63.255.255",
                                "100.128.0.0",
                                "8.8.8.8",
                                "0.0.0.0",
                                "255.255.255.255",
                                "::",
                                "::2",
                                "fbff::1",
                                "fe00::1",
                                "fe7f:ffff::1",
                                "fec0::1",
                                "2001:db8::1",
                                "::ffff:8.8.8.8",
                                "::10.0.0.1",
                                "",
                                "photos.example",
                                "localhost",
                                "10.0.0",
                                "10.0.0.1.2",
                                "10.0.0.1 ",
                                "[::1]",
                                "64:ff9b::a00:1"})
        EXPECT_FALSE(isHomeAddress(address)) << address;
}

TEST(HomeNetwork, IsLeftByTheAddressThatARequestGoesTo)
{
    EXPECT_TRUE(staysAtHome({"http://photos.example", "192.168.1.5", false}));
    EXPECT_FALSE(staysAtHome({"http://192.168.1.5", "203.0.113.5", false})) << "led elsewhere";
}

TEST(HomeNetwork, IsLeftThroughAProxyUnlessBothAddressesLieWithin)
{
    EXPECT_TRUE(staysAtHome({"http://192.168.1.5:8750", "127.0.0.1", true}));
    EXPECT_TRUE(staysAtHome({"http://[fd00::1]:8750", "127.0.0.1", true}));
    EXPECT_FALSE(staysAtHome({"http://[2001:db8::1]", "127.0.0.1", true}));
    EXPECT_FALSE(staysAtHome({"http://203.0.113.5", "127.0.0.1", true}));
    EXPECT_FALSE(staysAtHome({"http://photos.example:8750", "127.0.0.1", true}));
    EXPECT_FALSE(staysAtHome({"http://[", "127.0.0.1", true}));
    EXPECT_FALSE(staysAtHome({"http://10.0.0.5", "203.0.113.5", true})) << "on its way to a proxy out there";
}

TEST(HomeNetwork, WhoeverLeavesItIsWarnedOfTheAddressThatTheRequestGoesTo)
{
    W::HttpOptions options;
    leadTo(options, "http://198.51.100.7:8750");
    EXPECT_THAT(warningOf({endpoint().text(), "198.51.100.7", false}, options),
                testing::StartsWith("what goes to http://198.51.100.7:8750 is not encrypted"));
    EXPECT_THAT(warningOf({"http://media.example:81", "198.51.100.8", false}, options),
                testing::HasSubstr("http://media.example:81"));
}

} // namespace
