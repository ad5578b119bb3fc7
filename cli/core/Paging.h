// SPDX-License-Identifier: MIT
/// \file Lists that are read page by page.
///
/// A reply holds up to one record more than asked for; the extra one says that there are more, and is not the page's own. Between
/// two pages the list may change, so a record that comes again is passed over.
#ifndef KINLOOM_CORE_PAGING_H
#define KINLOOM_CORE_PAGING_H

#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kinloom {

/// Records of one page or of all, and whether more follow.
template <class Record> struct Records {
    std::vector<Record> records;
    bool more = false;
};

/// One page without its extra record.
template <class Record> Records<Record> onePage(std::vector<Record> reply, unsigned int count)
{
    Records<Record> page;
    page.more = reply.size() > count;
    if (page.more)
        reply.erase(reply.begin() + static_cast<std::ptrdiff_t>(count), reply.end());
    page.records = std::move(reply);
    return page;
}

/// All records of a list that is paged by index, each once.
/// \param fetch reads count records and the extra one, from an index on.
template <class Record, class Fetch> std::vector<Record> allByIndex(unsigned int index, unsigned int count, Fetch fetch)
{
    std::vector<Record> all;
    std::unordered_set<std::string> seen;
    // A service that repeats itself must not keep the walk going for ever.
    for (bool more = true; more; index += count) {
        Records<Record> page = onePage<Record>(fetch(index, count), count);
        const std::size_t before = all.size();
        for (Record& record : page.records) {
            if (seen.insert(record.getUID()).second)
                all.push_back(std::move(record));
        }
        more = page.more && all.size() > before;
    }
    return all;
}

/// Walks a list that is paged by marker records, each record once.
/// \param fetch reads count records and the extra one, from behind a marker on.
/// \param visit is given each record; false ends the walk.
template <class Record, class Fetch, class Visit>
void forEachByMarker(std::string marker, unsigned int count, Fetch fetch, Visit visit)
{
    std::unordered_set<std::string> seen;
    for (bool more = true; more;) {
        Records<Record> page = onePage<Record>(fetch(marker, count), count);
        bool progress = false;
        for (const Record& record : page.records) {
            if (!seen.insert(record.getUID()).second)
                continue;
            progress = true;
            if (!visit(record))
                return;
        }
        // A service that repeats itself must not keep the walk going for ever.
        more = page.more && progress;
        if (more)
            marker = page.records.back().getUID();
    }
}

} // namespace kinloom

#endif
