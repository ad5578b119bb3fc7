// SPDX-License-Identifier: MIT
#include "core/Dates.h"

#include "core/TimeZone.h"

#include <gtest/gtest.h>

namespace {

using namespace kinloomd;

const TimeZone UTC("UTC");

struct DateCase {
    const char* text;
    Millis time;
};

class ReadableDate : public ::testing::TestWithParam<DateCase> {};

TEST_P(ReadableDate, IsRead) { EXPECT_EQ(parseTime(GetParam().text), GetParam().time); }

INSTANTIATE_TEST_SUITE_P(
    Dates, ReadableDate,
    ::testing::Values(DateCase{"1970-01-01T00:00:00Z", 0}, DateCase{"2010-05-05T07:04:09Z", 1273043049000},
                      DateCase{"2010-05-05T07:04:09.5Z", 1273043049500}, DateCase{"2010-05-05T07:04:09.123999Z", 1273043049123},
                      DateCase{"2010-05-05T09:04:09+02:00", 1273043049000}, DateCase{"2010-05-05T09:04:09 02:00", 1273043049000},
                      DateCase{"2010-05-05T05:34:09-0130", 1273043049000}, DateCase{"2010-05-05 07:04:09", 1273043049000},
                      DateCase{"2010-05-05", 1273017600000}, DateCase{"1969-12-31T23:59:59.999Z", -1},
                      DateCase{"2000-02-29T00:00:00Z", 951782400000}, DateCase{"9999-12-31T23:59:59Z", 253402300799000},
                      DateCase{"2016-12-31T23:59:60Z", 1483228800000}));

class UnreadableDate : public ::testing::TestWithParam<const char*> {};

TEST_P(UnreadableDate, IsRefused) { EXPECT_FALSE(parseTime(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Dates, UnreadableDate,
                         ::testing::Values("", "2010", "2010-13-01", "2010-00-01", "2010-02-29", "1900-02-29", "2010-04-31",
                                           "2010-05-05T", "2010-05-05T24:00:00Z", "2010-05-05T07:60:00Z", "2010-05-05T07:04:61Z",
                                           "2010-05-05T07:04:09X", "2010-05-05T07:04:09Zx", "2010-05-05T07:04:09.Z",
                                           "2010-05-05T07:04:09+25:00", "2010-5-5", "20100505", "-010-05-05", " 2010-05-05"));

TEST(Dates, ArePrintedAsTheyAreRead)
{
    for (const Millis time : {Millis{0}, Millis{1273043049000}, Millis{1273043049123}, Millis{-1}, Millis{951782400000},
                              Millis{253402300799000}, Millis{-62135596800000}})
        EXPECT_EQ(parseTime(formatTime(time)), time) << formatTime(time);
    EXPECT_EQ(formatTime(1273043049000), "2010-05-05T07:04:09Z");
    EXPECT_EQ(formatTime(1273043049007), "2010-05-05T07:04:09.007Z");
}

TEST(Dates, ArePrintedAsClocksShowThem)
{
    EXPECT_EQ(formatTime(1273043049007, 7'200'000), "2010-05-05T09:04:09.007+02:00");
    EXPECT_EQ(formatTime(1273043049000, -12'600'000), "2010-05-05T03:34:09-03:30");
    EXPECT_EQ(formatTime(1273043049000, 0), "2010-05-05T07:04:09+00:00");
    EXPECT_EQ(formatOffset(50'400'000), "+14:00");
    for (const Millis offset : {Millis{7'200'000}, Millis{-12'600'000}})
        EXPECT_EQ(parseTime(formatTime(1273043049000, offset)), 1273043049000);
}

TEST(Dates, AreInMonths)
{
    for (const char* day : {"2010-05-01T00:00:00Z", "2010-05-31T23:59:59.999Z"}) {
        const Millis time = parseTime(day).value_or(0);
        EXPECT_EQ(monthOf(time), "2010-05");
        EXPECT_EQ(formatTime(beginOfMonth(time)), "2010-05-01T00:00:00Z");
        EXPECT_EQ(formatTime(endOfMonth(time)), "2010-06-01T00:00:00Z");
    }
    EXPECT_EQ(formatTime(endOfMonth(parseTime("2009-12-31").value_or(0))), "2010-01-01T00:00:00Z");
    EXPECT_EQ(monthOf(-1), "1969-12");
    EXPECT_EQ(parseMonth("2010-05"), parseTime("2010-05-01"));
    for (const char* text : {"", "2010", "2010-5", "2010-13", "2010-00", "2010-05-01", "x010-05"})
        EXPECT_FALSE(parseMonth(text)) << text;
}

TEST(Dates, AreNotedInArchives)
{
    EXPECT_EQ(dosTime(parseTime("2010-05-05T07:04:09Z").value_or(0)), (30U << 9 | 5U << 5 | 5U) << 16 | 7U << 11 | 4U << 5 | 4U);
    EXPECT_EQ(dosTime(parseTime("1975-05-05T07:04:09Z").value_or(0)), (1U << 5 | 1U) << 16) << "the first that can be noted";
    EXPECT_EQ(dosTime(parseTime("9000-05-05T07:04:09Z").value_or(0)),
              (127U << 9 | 12U << 5 | 31U) << 16 | 23U << 11 | 59U << 5 | 29U);
}

TEST(Dates, AreRefusedBeyondTheYearsOfFourDigits)
{
    EXPECT_EQ(formatTime(parseTime("0000-01-01T00:01:00+00:01").value_or(0)), "0000-01-01T00:00:00Z");
    EXPECT_EQ(formatTime(parseTime("9999-12-31T23:58:59.999-00:01").value_or(0)), "9999-12-31T23:59:59.999Z");
    for (const char* text : {"0000-01-01T00:00:59.999+00:01", "9999-12-31T23:59:00-00:01", "9999-12-31T23:59:60Z"})
        EXPECT_FALSE(parseTime(text)) << text;
    EXPECT_FALSE(parsePhotoTime("0000:01:01 00:00:00", "", "+00:01", UTC));
    EXPECT_FALSE(parsePhotoTime("9999:12:31 23:59:59", "", "-00:01", UTC));
}

TEST(Dates, OfPhotographsTakeTheCamerasOffset)
{
    EXPECT_EQ(parsePhotoTime("2010:05:05 07:04:09", "", "", UTC), 1273043049000);
    EXPECT_EQ(parsePhotoTime("2010:05:05 09:04:09", "", "+02:00", UTC), 1273043049000);
    EXPECT_EQ(parsePhotoTime("2010:05:05 07:04:09", "", "nonsense", UTC), 1273043049000);
    EXPECT_FALSE(parsePhotoTime("0000:00:00 00:00:00", "", "", UTC));
    EXPECT_FALSE(parsePhotoTime("", "", "", UTC));
}

} // namespace
