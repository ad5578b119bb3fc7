// SPDX-License-Identifier: MIT
#include "tv/core/Shuffle.h"

namespace tv {

namespace {

constexpr int ROUNDS = 6; ///< of the cipher; with fewer, neighbours stay together

std::uint64_t mixed(std::uint64_t value)
{
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9ULL;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebULL;
    return value ^ (value >> 31);
}

/// The bits of each of a text's two halves, so that all places fit into it.
unsigned halfOf(std::uint64_t size)
{
    unsigned half = 1;
    while (half < 31 && (std::uint64_t{1} << (2 * half)) < size)
        ++half;
    return half;
}

} // namespace

std::uint64_t Shuffle::plain(std::uint64_t round, std::uint64_t step) const
{
    const unsigned half = halfOf(m_size);
    const std::uint64_t mask = (std::uint64_t{1} << half) - 1;
    const std::uint64_t key = mixed(m_seed + 0x9e3779b97f4a7c15ULL * (round + 1));
    std::uint64_t text = step;
    // The cipher's texts are up to four times as many as there are places: what leads outside is led on until it is inside.
    do {
        std::uint64_t left = text >> half;
        std::uint64_t right = text & mask;
        for (int turn = 0; turn < ROUNDS; ++turn) {
            const std::uint64_t next =
                left ^ (mixed(right + key + static_cast<std::uint64_t>(turn) * 0x632be59bd9b4e019ULL) & mask);
            left = right;
            right = next;
        }
        text = (left << half) | right;
    } while (text >= m_size);
    return text;
}

std::uint64_t Shuffle::at(std::uint64_t round, std::uint64_t step) const
{
    // The first two change places where a round would begin with what was there last. From three places on that touches no end.
    if (step < 2 && round > 0 && m_size > 2 && plain(round, 0) == plain(round - 1, m_size - 1))
        step = 1 - step;
    return plain(round, step);
}

} // namespace tv
