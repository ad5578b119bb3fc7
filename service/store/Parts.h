// SPDX-License-Identifier: MIT
/// \file Long lists are read in parts, each with a statement of its own, since an engine may hold all rows of a statement in
/// memory. A list remembers its place by the keys of the last row, so that the next part begins behind it.
#ifndef KINLOOMD_STORE_PARTS_H
#define KINLOOMD_STORE_PARTS_H

#include "store/Connection.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace kinloomd {

inline constexpr std::int64_t ROWS_AT_ONCE = 250;
inline constexpr std::int64_t ROWS_OF_PAGE = 1000; ///< of lists that are in memory as a whole anyway
inline constexpr std::int64_t ALL_ROWS = std::numeric_limits<std::int64_t>::max();

/// What has come of a part.
struct PartRead {
    std::int64_t rows = 0;
    bool more = true; ///< whether who takes them wants more
};

/// Hands each row of a query over, until \p take wants no more.
template <typename Take> PartRead takeRows(Query& query, const Take& take)
{
    PartRead part;
    while (part.more && query.step()) {
        ++part.rows;
        part.more = take();
    }
    return part;
}

/// Reads up to so many rows. \param readPart reads the next of them, at most as many as it is told: \p atOnce. \return whether
/// nothing is left.
template <typename ReadPart> bool readInParts(std::int64_t count, const ReadPart& readPart, std::int64_t atOnce = ROWS_AT_ONCE)
{
    while (count > 0) {
        const std::int64_t wanted = std::min(count, atOnce);
        const PartRead part = readPart(wanted);
        if (!part.more)
            return false;
        if (part.rows < wanted)
            return true;
        count -= part.rows;
    }
    return true;
}

} // namespace kinloomd

#endif
