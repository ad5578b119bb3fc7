// SPDX-License-Identifier: MIT
/// \file What the program writes into a cache that is killed meanwhile, and what is to be found there then.
#ifndef TESTS_TV_CACHECONTENTS_H
#define TESTS_TV_CACHECONTENTS_H

#include "tv/media/Cache.h"

#include <cstddef>
#include <cstdint>
#include <string>

constexpr std::uint64_t CACHE_LIMIT = std::uint64_t{4} << 20;
constexpr int CACHE_CONTENTS = 200;

inline std::string cacheNameOf(int content) { return tv::cacheName(std::to_string(content), {}); }

inline std::string cacheBytesFor(int content, int version)
{
    return std::string(static_cast<std::size_t>(20'000 + content * 97), static_cast<char>('a' + version % 26));
}

#endif
