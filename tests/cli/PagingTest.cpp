// SPDX-License-Identifier: MIT
#include "core/Paging.h"
#include "W/WContent.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using namespace kinloom;

namespace {

std::vector<W::WContent> contents(int number)
{
    std::vector<W::WContent> all(static_cast<std::size_t>(number));
    for (int i = 0; i < number; ++i)
        all[static_cast<std::size_t>(i)].setUID(std::to_string(i + 1));
    return all;
}

std::vector<std::string> uidsOf(const std::vector<W::WContent>& records)
{
    std::vector<std::string> uids;
    uids.reserve(records.size());
    for (const W::WContent& record : records)
        uids.push_back(record.getUID());
    return uids;
}

/// A list as the service pages it: up to one record more than asked for.
struct Source {
    std::vector<W::WContent> all;
    int requests = 0;

    std::vector<W::WContent> fromIndex(std::size_t index, std::size_t count)
    {
        ++requests;
        const std::size_t begin = std::min(index, all.size());
        const std::size_t end = std::min(begin + count + 1, all.size());
        return {all.begin() + static_cast<long>(begin), all.begin() + static_cast<long>(end)};
    }
    std::vector<W::WContent> behind(const std::string& marker, std::size_t count)
    {
        const auto found = std::find_if(all.begin(), all.end(), [&](const W::WContent& c) { return c.getUID() == marker; });
        return fromIndex(found == all.end() ? 0 : static_cast<std::size_t>(found - all.begin()) + 1, count);
    }
};

std::vector<W::WContent> everyByMarker(Source& source, unsigned int count)
{
    std::vector<W::WContent> seen;
    forEachByMarker<W::WContent>(
        "0", count, [&](const std::string& marker, unsigned int number) { return source.behind(marker, number); },
        [&](const W::WContent& content) {
            seen.push_back(content);
            return true;
        });
    return seen;
}

std::vector<W::WContent> everyByIndex(Source& source, unsigned int from, unsigned int count)
{
    return allByIndex<W::WContent>(from, count,
                                   [&](unsigned int index, unsigned int number) { return source.fromIndex(index, number); });
}

TEST(Paging, OnePageLeavesTheExtraRecordOut)
{
    const auto page = onePage(contents(4), 3);
    EXPECT_EQ(uidsOf(page.records), (std::vector<std::string>{"1", "2", "3"}));
    EXPECT_TRUE(page.more);
    EXPECT_FALSE(onePage(contents(3), 3).more);
    EXPECT_FALSE(onePage(contents(0), 3).more);
}

TEST(Paging, ByIndexShowsEveryRecordOnceAtAnyPageSize)
{
    for (int number : {0, 1, 2, 7, 20}) {
        for (unsigned int count = 1; count <= 22; ++count) {
            Source source{contents(number)};
            EXPECT_EQ(uidsOf(everyByIndex(source, 0, count)), uidsOf(source.all)) << number << " by " << count;
        }
    }
}

TEST(Paging, ByIndexBeginsWhereItIsTold)
{
    Source source{contents(5)};
    EXPECT_EQ(uidsOf(everyByIndex(source, 3, 2)), (std::vector<std::string>{"4", "5"}));
}

TEST(Paging, ByIndexAsksNoMoreOftenThanNeeded)
{
    Source source{contents(20)};
    everyByIndex(source, 0, 10);
    EXPECT_EQ(source.requests, 2);
}

TEST(Paging, ByMarkerShowsAThousandRecordsOnceInBothDirections)
{
    for (const bool backwards : {false, true}) {
        Source source{contents(1000)};
        if (backwards)
            std::reverse(source.all.begin(), source.all.end());
        for (unsigned int count : {1U, 7U, 30U, 999U, 1000U, 5000U})
            EXPECT_EQ(uidsOf(everyByMarker(source, count)), uidsOf(source.all)) << count;
    }
}

TEST(Paging, RecordsThatComeAgainArePassedOver)
{
    // Something was added at the front between two pages, so that the list has moved on by one.
    Source source{contents(6)};
    bool moved = false;
    const auto all = allByIndex<W::WContent>(0, 2, [&](unsigned int index, unsigned int count) {
        if (index == 2 && !moved) {
            moved = true;
            W::WContent fresh;
            fresh.setUID("new");
            source.all.insert(source.all.begin(), fresh);
        }
        return source.fromIndex(index, count);
    });
    EXPECT_EQ(uidsOf(all), (std::vector<std::string>{"1", "2", "3", "4", "5", "6"}));
}

TEST(Paging, AServiceThatRepeatsItselfEndsTheWalk)
{
    int requests = 0;
    const auto same = [&](auto, unsigned int) {
        ++requests;
        return contents(3);
    };
    EXPECT_EQ(allByIndex<W::WContent>(0, 2, same).size(), 2U);
    EXPECT_EQ(requests, 2);
    requests = 0;
    std::size_t visits = 0;
    forEachByMarker<W::WContent>("0", 2, same, [&](const W::WContent&) { return ++visits > 0; });
    EXPECT_EQ(visits, 2U);
    EXPECT_EQ(requests, 2);
}

TEST(Paging, AVisitorCanEndTheWalk)
{
    Source source{contents(10)};
    int visits = 0;
    forEachByMarker<W::WContent>(
        "0", 2, [&](const std::string& marker, unsigned int count) { return source.behind(marker, count); },
        [&](const W::WContent&) { return ++visits < 3; });
    EXPECT_EQ(visits, 3);
}

} // namespace
