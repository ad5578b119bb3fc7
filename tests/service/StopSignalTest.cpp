// SPDX-License-Identifier: MIT
#include "core/StopSignal.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

using kinloomd::StopSignal;
using std::chrono::milliseconds;

TEST(StopSignal, LetsASleepLastWhenItIsNotGiven)
{
    const StopSignal signal;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_TRUE(signal.sleepFor(milliseconds(20)));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, milliseconds(20));
    EXPECT_FALSE(signal.isGiven());
}

TEST(StopSignal, EndsSleepsWhenItIsGiven)
{
    StopSignal signal;
    std::thread giver([&signal] { signal.give(); });
    EXPECT_FALSE(signal.sleepFor(milliseconds(60'000)));
    giver.join();
    EXPECT_TRUE(signal.isGiven());
    EXPECT_FALSE(signal.sleepFor(milliseconds(60'000))) << "once given it stays so";
}

} // namespace
