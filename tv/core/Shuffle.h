// SPDX-License-Identifier: MIT
/// \file A true shuffle of any size that needs no list.
#ifndef KINLOOM_TV_CORE_SHUFFLE_H
#define KINLOOM_TV_CORE_SHUFFLE_H

#include <cstdint>

namespace tv {

/// Places from 0 on in an order of chance, each once: a small cipher whose texts are the places. The same seed gives the same
/// order; each round has another one, and no round begins with what the one before ended with.
class Shuffle {
public:
    /// \param size how many places; at least one
    Shuffle(std::uint64_t size, std::uint64_t seed) : m_size(size), m_seed(seed) {}

    /// The place whose turn it is at a step of a round. \param step below the size
    std::uint64_t at(std::uint64_t round, std::uint64_t step) const;

private:
    std::uint64_t plain(std::uint64_t round, std::uint64_t step) const;

    std::uint64_t m_size;
    std::uint64_t m_seed;
};

} // namespace tv

#endif
