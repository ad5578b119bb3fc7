// SPDX-License-Identifier: MIT
#include "output/Progress.h"
#include "core/Text.h"

#include <gtest/gtest.h>

using namespace kinloom;
using namespace std::chrono_literals;

namespace {

const auto START = Rate::Clock::time_point(std::chrono::hours(1));

TEST(Rate, IsUnknownUntilTwoSamplesDiffer)
{
    Rate rate;
    EXPECT_EQ(rate.perSecond(), 0);
    rate.add(100, START);
    EXPECT_EQ(rate.perSecond(), 0);
    rate.add(100, START + 1s);
    EXPECT_EQ(rate.perSecond(), 0);
    rate.add(300, START + 2s);
    EXPECT_DOUBLE_EQ(rate.perSecond(), 100);
}

TEST(Rate, IsThatOfTheLastSeconds)
{
    Rate rate;
    for (int second = 0; second <= 60; ++second)
        rate.add(second < 30 ? 0 : (second - 30) * 1000.0, START + std::chrono::seconds(second));
    EXPECT_DOUBLE_EQ(rate.perSecond(), 1000);
}

TEST(ProgressBar, ShowsShareRateAndTimeLeft)
{
    const std::string bar = progressBar({"photo.jpg", 25e6, 100e6, 5e6}, 120);
    EXPECT_EQ(bar, "photo.jpg  [######                  ]  25 %, 25.0 MB of 100.0 MB, 5.0 MB/s, 15 s left");
}

TEST(ProgressBar, LeavesTheBarOutWhereItDoesNotFit)
{
    EXPECT_EQ(progressBar({"photo.jpg", 25e6, 100e6, 5e6}, 70), "photo.jpg  25 %, 25.0 MB of 100.0 MB, 5.0 MB/s, 15 s left");
}

TEST(ProgressBar, NeverExceedsTheTerminal)
{
    for (std::size_t columns = 0; columns < 100; ++columns)
        EXPECT_LE(displayWidth(progressBar({std::string(100, 'x') + "漢", 1, 3, 1}, columns)), columns);
}

TEST(ProgressBar, ShowsBytesAloneWhileTheTotalIsUnknown) { EXPECT_EQ(progressBar({"a", 1500, 0, 0}, 80), "a  1.5 kB"); }

TEST(ProgressBar, StaysWithinBoundsWhenMoreArrivesThanExpected)
{
    EXPECT_NE(progressBar({"a", 200, 100, 10}, 80).find("100 %"), std::string::npos);
}

TEST(ProgressBar, NeutralisesTheName) { EXPECT_EQ(progressBar({"a\x1b[2J", 0, 0, 0}, 80), "a\uFFFD[2J  0 B"); }

} // namespace
