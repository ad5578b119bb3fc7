// SPDX-License-Identifier: MIT
#include "wire/ByteRange.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;

struct RangeCase {
    const char* header;
    ByteRange::Kind kind;
    std::int64_t offset;
    std::int64_t length;
};

class RangeOfHundredBytes : public ::testing::TestWithParam<RangeCase> {};

TEST_P(RangeOfHundredBytes, IsRead)
{
    const ByteRange range = parseRange(GetParam().header, 100);
    EXPECT_EQ(range.kind, GetParam().kind);
    EXPECT_EQ(range.offset, GetParam().offset);
    EXPECT_EQ(range.length, GetParam().length);
}

INSTANTIATE_TEST_SUITE_P(
    Ranges, RangeOfHundredBytes,
    ::testing::Values(RangeCase{"bytes=0-0", ByteRange::PART, 0, 1}, RangeCase{"bytes=0-99", ByteRange::PART, 0, 100},
                      RangeCase{"bytes=10-19", ByteRange::PART, 10, 10}, RangeCase{"bytes=90-", ByteRange::PART, 90, 10},
                      RangeCase{"bytes=90-1000", ByteRange::PART, 90, 10}, RangeCase{"bytes=-1", ByteRange::PART, 99, 1},
                      RangeCase{"bytes=-100", ByteRange::PART, 0, 100}, RangeCase{"bytes=-1000", ByteRange::PART, 0, 100},
                      RangeCase{" Bytes=1-2 ", ByteRange::PART, 1, 2}, RangeCase{"bytes=100-", ByteRange::UNSATISFIABLE, 0, 0},
                      RangeCase{"bytes=100-200", ByteRange::UNSATISFIABLE, 0, 0},
                      RangeCase{"bytes=-0", ByteRange::UNSATISFIABLE, 0, 0}, RangeCase{"bytes=2-1", ByteRange::WHOLE, 0, 100},
                      RangeCase{"bytes=0-1,3-4", ByteRange::WHOLE, 0, 100}, RangeCase{"bytes=-", ByteRange::WHOLE, 0, 100},
                      RangeCase{"bytes=a-b", ByteRange::WHOLE, 0, 100}, RangeCase{"bytes=1-b", ByteRange::WHOLE, 0, 100},
                      RangeCase{"bytes=--1", ByteRange::WHOLE, 0, 100}, RangeCase{"items=0-1", ByteRange::WHOLE, 0, 100},
                      RangeCase{"bytes", ByteRange::WHOLE, 0, 100}, RangeCase{"", ByteRange::WHOLE, 0, 100},
                      RangeCase{"bytes=99999999999999999999-", ByteRange::WHOLE, 0, 100},
                      RangeCase{"bytes=0-9223372036854775807", ByteRange::PART, 0, 100}));

TEST(ByteRange, OfAnEmptyFileIsNeverSatisfiable)
{
    EXPECT_EQ(parseRange("bytes=0-", 0).kind, ByteRange::UNSATISFIABLE);
    EXPECT_EQ(parseRange("bytes=-5", 0).kind, ByteRange::UNSATISFIABLE);
}

TEST(EntityTag, IsFoundInLists)
{
    for (const char* header : {"\"a\"", "W/\"a\"", R"("x", "a")", "*", R"( "x" ,W/"a" )"})
        EXPECT_TRUE(listsTag(header, "\"a\"")) << header;
    for (const char* header : {"", "\"b\"", "a", "\"a", ","})
        EXPECT_FALSE(listsTag(header, "\"a\"")) << header;
}

} // namespace
