// SPDX-License-Identifier: MIT
#include "W/WConfigManager.h"

#include <gtest/gtest.h>
#include <limits>
#include <set>
#include <thread>
#include <vector>

using namespace W;

namespace {

constexpr auto KINLOOM = WContentProvider::SERVICE_KINLOOM;

TEST(ContentProvider, IsNobodyAtFirst)
{
    const WContentProvider nobody;
    EXPECT_EQ(nobody.getID(), 0u);
    EXPECT_EQ(nobody.getName(), "");
    EXPECT_EQ(nobody.getServiceType(), WContentProvider::SERVICE_UNKNOWN);
}

TEST(ContentProvider, HasTheSameIdentifierInEveryProcess)
{
    // FNV-1a over "Kinloom" and 0c 00 00 00, worked out apart from the code under test.
    EXPECT_EQ(WContentProvider("Kinloom", KINLOOM).getID(), 0xb9f34f40u);
    EXPECT_EQ(WContentProvider("", WContentProvider::SERVICE_UNKNOWN).getID(), 0x4b95f515u);
}

TEST(ContentProvider, TellsNamesAndTypesApart)
{
    std::set<UINT32> ids;
    for (const char* name : {"Kinloom", "kinloom", "Kinloom ", "", "a", "b"})
        for (const UINT32 type : {0u, 1u, 12u, 0x0c00u, 0xffffffffu})
            ids.insert(WContentProvider(name, static_cast<WContentProvider::ServiceType>(type)).getID());
    EXPECT_EQ(ids.size(), 30u);
    EXPECT_EQ(ids.count(0), 0u);
}

TEST(ContentProvider, IsCopiedWhole)
{
    WContentProvider copy;
    copy = WContentProvider("Kinloom", KINLOOM);
    EXPECT_EQ(copy.getID(), WContentProvider("Kinloom", KINLOOM).getID());
    EXPECT_EQ(copy.getName(), "Kinloom");
    EXPECT_EQ(copy.getServiceType(), KINLOOM);
}

TEST(Variant, PrintsEveryKindOfValue)
{
    EXPECT_EQ(WVariant().toString(), "");
    EXPECT_TRUE(WVariant().isEmpty());
    EXPECT_EQ(WVariant("text").toString(), "text");
    EXPECT_EQ(WVariant(static_cast<const char*>(nullptr)).toString(), "");
    EXPECT_EQ(WVariant(STRING("a\0b", 3)).toString(), STRING("a\0b", 3));
    EXPECT_EQ(WVariant(true).toString(), "true");
    EXPECT_EQ(WVariant(false).toString(), "false");
    EXPECT_EQ(WVariant(-42).toString(), "-42");
    EXPECT_EQ(WVariant(18'446'744'073'709'551'615ull).toString(), "18446744073709551615");
    EXPECT_EQ(WVariant(std::int64_t{-9'223'372'036'854'775'807}).toString(), "-9223372036854775807");
    EXPECT_EQ(WVariant(0.5).toString(), "0.5");
    EXPECT_EQ(WVariant(-0.1).toString(), "-0.1");
    EXPECT_EQ(WVariant(1e300).toString(), "1e+300");
    EXPECT_EQ(WVariant(std::numeric_limits<double>::denorm_min()).toString(), "5e-324");
    EXPECT_EQ(WVariant(-std::numeric_limits<double>::max()).toString(), "-1.7976931348623157e+308");
    EXPECT_EQ(WVariant(std::numeric_limits<double>::infinity()).toString(), "inf");
}

TEST(ConfigManager, IsOneForTheProcess)
{
    EXPECT_NE(WConfigManager::getInstance(), nullptr);
    EXPECT_EQ(WConfigManager::getInstance(), WConfigManager::getInstance());
}

TEST(ConfigManager, KeepsOptionsByProviderAndKey)
{
    WConfigManager& manager = *WConfigManager::getInstance();
    const WContentProvider one("one", KINLOOM);
    const WContentProvider two("two", KINLOOM);
    const WContentProvider oneOfAnotherType("one", WContentProvider::SERVICE_UNKNOWN);
    EXPECT_TRUE(manager.getCPOption(one, "app_id").isEmpty());
    manager.setCPOption(one, "app_id", "1");
    manager.setCPOption(two, "app_id", 2);
    manager.setCPOption(one, "app_id", "3");
    EXPECT_EQ(manager.getCPOption(one, "app_id").toString(), "3");
    EXPECT_EQ(manager.getCPOption(two, "app_id").toString(), "2");
    EXPECT_EQ(manager.getCPOption(oneOfAnotherType, "app_id").toString(), "");
    EXPECT_EQ(manager.getCPOption(one, "App_id").toString(), "");
}

TEST(ConfigManager, MayBeUsedByManyThreadsAtOnce)
{
    WConfigManager& manager = *WConfigManager::getInstance();
    const WContentProvider provider("many", KINLOOM);
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 500; ++i) {
                manager.setCPOption(provider, "shared", std::string(20, static_cast<char>('a' + t)));
                const STRING seen = manager.getCPOption(provider, "shared").toString();
                EXPECT_EQ(seen.find_first_not_of(seen[0]), STRING::npos);
                manager.setCPOption(provider, std::to_string(t), i);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(manager.getCPOption(provider, "3").toString(), "499");
}

} // namespace
