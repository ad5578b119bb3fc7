// SPDX-License-Identifier: MIT
/// \file Which content stands at which place of a group, without a walk to it.
#ifndef KINLOOM_TV_INDEX_PLACES_H
#define KINLOOM_TV_INDEX_PLACES_H

#include "tv/index/Entry.h"

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

namespace tv {

/// The contents of a group in blocks of about a thousand, the newest first, and how many each month has. The contents themselves
/// lie in a database, which finds a place quickly within a block only: so a group of a million takes a few tens of kilobytes here,
/// and any place of it is found in well below a millisecond.
class Places {
public:
    static constexpr std::int64_t BLOCK = 1024; ///< how many contents a block is begun with; twice as many are split

    /// Where to look for a content: so many contents behind the first one that is not before \c from.
    struct Spot {
        Key from;
        std::int64_t offset = 0;
    };

    std::int64_t count() const { return m_count; }
    /// Where the content at a place is; the place must be there.
    Spot spotOf(std::int64_t index) const;
    /// The block that a key belongs to, and how many contents stand before that block.
    Spot blockOf(const Key& key) const;
    /// The months that have contents, the newest first.
    std::vector<MonthEntry> months() const;

    /// Takes contents over in their order, the newest first, behind all that there are.
    void append(const Key& key, Month month);
    void insert(const Key& key, Month month);
    void erase(const Key& key, Month month);
    /// Splits blocks that have grown; to be called when all that has changed in the database is told here too.
    /// \param keyBehind gives the key so many contents behind that one, as the database has them
    void settle(const std::function<Key(const Key& from, std::int64_t offset)>& keyBehind);

private:
    struct Block {
        Key from; ///< not before the first content of it, and behind all of the block before
        std::int64_t count = 0;
    };

    std::size_t indexOfBlock(const Key& key) const;

    std::vector<Block> m_blocks;
    std::int64_t m_count = 0;
    std::map<int, std::int64_t> m_months; ///< by the month's number
};

} // namespace tv

#endif
