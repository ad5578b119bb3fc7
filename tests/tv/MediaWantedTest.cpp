// SPDX-License-Identifier: MIT
// Pictures that should be there before anybody asks.
#include "MediaFixture.h"

#include <algorithm>
#include <filesystem>

namespace {

using namespace kinloomd_test;
using namespace tv_test;
using test::comesTrue;
using test::RawReply;

using Contents = std::vector<std::string>;

TEST_F(MediaTest, WhatIsWantedSoonIsThereWhenItIsAskedFor)
{
    serve("/grid", smallPicture().bytes);
    pictures().wantSoon("tab", grids({"1", "2", "3", "4", "5", "6", "7", "8", "9"}));
    ASSERT_TRUE(comesTrue([&] { return pictures().status().pictures == 9; }));
    m_server.onRequest([](const test::RawRequest&) { return RawReply().reset(); });
    for (const char* const content : {"1", "5", "9"})
        EXPECT_EQ(Asker(pictures(), content).ticket(), 0U) << content;
    // What is there is not fetched again.
    pictures().wantSoon("tab", grids({"1", "2"}));
    pictures().wantSoon("other", grids({"3"}));
    EXPECT_EQ(m_server.requestCount(), 9U);
}

TEST_F(MediaTest, WhatIsWantedSoonComesInItsOrderAndLeavesRoomForWhoAsks)
{
    // Each holds its connection: four at a time, in advance.
    m_server.onRequest(
        [](const test::RawRequest&) { return RawReply().hold().send("HTTP/1.1 404 X\r\nContent-Length: 0\r\n\r\n"); });
    Contents contents;
    for (int i = 10; i < 60; ++i)
        contents.push_back(std::to_string(i));
    pictures().wantSoon("tab", grids(contents));
    ASSERT_TRUE(m_server.waitForWaiting(4));
    Asker asker(pictures(), "59");
    ASSERT_TRUE(m_server.waitForWaiting(5)) << "it waits for none of them";
    std::vector<std::string> targets;
    for (const test::RawRequest& request : m_server.requests())
        targets.push_back(request.target());
    EXPECT_EQ(targets.back(), "/59/grid");
    std::sort(targets.begin(), targets.end());
    EXPECT_EQ(targets, (std::vector<std::string>{"/10/grid", "/11/grid", "/12/grid", "/13/grid", "/59/grid"}));
}

TEST_F(MediaTest, AListThatIsReplacedEndsWhatWasOnIt)
{
    m_server.onRequest([](const test::RawRequest&) { return RawReply().hold(); });
    pictures().wantSoon("tab", grids({"1", "2"}));
    pictures().wantSoon("other", grids({"2"}));
    ASSERT_TRUE(m_server.waitForWaiting(2));
    Asker asker(pictures(), "1");
    pictures().wantSoon("tab", {});
    EXPECT_EQ(m_server.closedCount(), 0U) << "one is asked for, one is on another list";
    pictures().cancel(asker.ticket());
    EXPECT_TRUE(m_server.waitForClosed(1));
    pictures().wantSoon("other", {});
    EXPECT_TRUE(m_server.waitForClosed(2));
}

TEST_F(MediaTest, BrokenOnesInAListKeepNothingUp)
{
    serve("/1/grid", "no picture");
    serve("/2/grid", smallPicture().bytes);
    serve("/4/grid", smallPicture().bytes);
    m_source.say("3", PictureSource::Answer::GONE);
    pictures().wantSoon("tab", grids({"1", "3", "2", "5", "4"}));
    ASSERT_TRUE(comesTrue([&] { return pictures().status().pictures == 2; }));
    EXPECT_EQ(Asker(pictures(), "1").result(), PictureResult::BROKEN);
    EXPECT_EQ(requestsFor("/1/grid"), 1U);
}

TEST_F(MediaTest, AFullDiskStillHasTheNextPicturesThere)
{
    serve("/grid", smallPicture().bytes);
    std::filesystem::remove_all(m_dir.file("cache/tmp"));
    pictures().wantSoon("tab", grids({"1", "2"}));
    ASSERT_TRUE(comesTrue([&] { return pictures().status().inMemory == 2; }));
    for (const char* const content : {"1", "2"})
        EXPECT_EQ(Asker(pictures(), content).ticket(), 0U) << content;
    // Wanted again they stay, and are not fetched once more.
    const std::size_t before = m_server.requestCount();
    pictures().wantSoon("tab", grids({"2", "1"}));
    EXPECT_EQ(Asker(pictures(), "2").ticket(), 0U);
    EXPECT_EQ(m_server.requestCount(), before);
    pictures().wantSoon("tab", {});
    Asker asker(pictures(), "2");
    EXPECT_NE(asker.ticket(), 0U) << "what nobody wants is not held in memory";
    EXPECT_EQ(asker.result(), PictureResult::READY);
}

TEST_F(MediaTest, AnOutageOnlyPutsOffWhatIsWantedSoon)
{
    serve("/grid", smallPicture().bytes);
    const auto down = std::make_unique<test::RawServer>();
    down->greet(test::RawServer::Greeting::RESET);
    m_source.lead(*down);
    pictures().wantSoon("tab", grids({"1", "2", "3", "4"}));
    ASSERT_TRUE(down->waitForConnections(3));
    m_source.lead(m_server);
    EXPECT_TRUE(comesTrue([&] { return pictures().status().pictures == 4; })) << "by itself";
}

} // namespace
