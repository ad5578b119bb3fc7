// SPDX-License-Identifier: MIT
#include "tv/core/Shuffle.h"

#include <cmath>
#include <gtest/gtest.h>
#include <set>
#include <vector>

using tv::Shuffle;

namespace {

TEST(Shuffle, ShowsEachPlaceOnceInARound)
{
    for (const std::uint64_t size : {1, 2, 3, 4, 5, 16, 17, 1000, 4099}) {
        const Shuffle shuffle(size, 7);
        for (const std::uint64_t round : {0, 1, 2}) {
            std::set<std::uint64_t> seen;
            for (std::uint64_t step = 0; step < size; ++step) {
                EXPECT_LT(shuffle.at(round, step), size);
                seen.insert(shuffle.at(round, step));
            }
            EXPECT_EQ(seen.size(), size) << "size " << size << " round " << round;
        }
    }
}

TEST(Shuffle, HasAnotherOrderForEachSeedAndRound)
{
    const auto order = [](std::uint64_t seed, std::uint64_t round) {
        std::vector<std::uint64_t> places;
        for (std::uint64_t step = 0; step < 100; ++step)
            places.push_back(Shuffle(100, seed).at(round, step));
        return places;
    };
    EXPECT_EQ(order(1, 0), order(1, 0));
    EXPECT_NE(order(1, 0), order(2, 0));
    EXPECT_NE(order(1, 0), order(1, 1));
}

TEST(Shuffle, DoesNotShowTheSameTwiceWhereTwoRoundsMeet)
{
    for (const std::uint64_t size : {3, 4, 10})
        for (std::uint64_t seed = 0; seed < 100; ++seed)
            for (std::uint64_t round = 0; round < 10; ++round)
                EXPECT_NE(Shuffle(size, seed).at(round, size - 1), Shuffle(size, seed).at(round + 1, 0)) << size << " " << seed;
}

TEST(Shuffle, TearsNeighboursApart)
{
    // How many steps lead to a neighbour: of a good shuffle about two in the size, whatever the size.
    constexpr std::uint64_t SIZE = 100'000;
    const Shuffle shuffle(SIZE, 3);
    int near = 0;
    for (std::uint64_t step = 1; step < SIZE; ++step) {
        const auto distance = static_cast<std::int64_t>(shuffle.at(0, step)) - static_cast<std::int64_t>(shuffle.at(0, step - 1));
        near += std::abs(distance) == 1 ? 1 : 0;
    }
    EXPECT_LT(near, 15);
}

} // namespace
