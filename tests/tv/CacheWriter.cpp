// SPDX-License-Identifier: MIT
// Writes, drops and clears in a cache until it is killed. Tells on standard output when it has begun.
#include "CacheContents.h"

#include <cstdio>
#include <random>
#include <string>
#include <unistd.h>
#include <utility>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    tv::Cache cache(argv[1], CACHE_LIMIT);
    std::mt19937 random(static_cast<unsigned>(::getpid()));
    bool told = false;
    for (int version = 0;; ++version) {
        const int content = static_cast<int>(random() % CACHE_CONTENTS);
        cache.keep(cacheNameOf(content), "image/jpeg", cacheBytesFor(content, version), [] { return true; });
        if (version % 50 == 49)
            cache.drop(std::to_string(content));
        if (version % 400 == 399)
            cache.clear();
        if (!std::exchange(told, true) && ::write(STDOUT_FILENO, "x", 1) != 1)
            return 1;
    }
}
