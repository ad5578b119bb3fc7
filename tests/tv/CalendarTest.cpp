// SPDX-License-Identifier: MIT
#include "tv/core/Calendar.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>

using namespace tv;

namespace {

/// The zone of the process, for the time of a test.
class Zone {
public:
    explicit Zone(const char* name)
    {
        const char* const before = std::getenv("TZ");
        m_before = before == nullptr ? "" : before;
        ::setenv("TZ", name, 1);
        ::tzset();
    }
    ~Zone()
    {
        ::setenv("TZ", m_before.c_str(), 1);
        ::tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

private:
    std::string m_before;
};

constexpr Millis HOUR = 3'600'000;

TEST(Calendar, ReadsMonthsAndNothingElse)
{
    EXPECT_EQ(Month::parse("2010-05"), Month(2010, 5));
    for (const char* const text : {"", "2010", "2010-5", "2010-13", "2010-00", "10-05", "2010-05-01", "2010/05", "201a-05"})
        EXPECT_FALSE(Month::parse(text)) << text;
    EXPECT_EQ(Month(2010, 5).text(), "2010-05");
    EXPECT_EQ(Month(2010, 1).before(), Month(2009, 12));
}

TEST(Calendar, PutsATimeIntoTheMonthThatClocksShow)
{
    const Zone zone("Europe/Berlin");
    const Millis midnight = 1280613600'000; // 2010-08-01T00:00:00+02:00
    EXPECT_EQ(Month::of(midnight), Month(2010, 8));
    EXPECT_EQ(Month::of(midnight - 1), Month(2010, 7));
    EXPECT_EQ(Month(2010, 8).range().from, midnight);
    EXPECT_EQ(Month(2010, 7).range().before, midnight);
    // The hour that is left out in March.
    EXPECT_EQ(Month(2010, 3).range().before - Month(2010, 3).range().from, 31 * 24 * HOUR - HOUR);
}

TEST(Calendar, FindsMonthsBefore1970)
{
    const Zone zone("UTC");
    EXPECT_EQ(Month::of(-1), Month(1969, 12));
    MonthFinder finder;
    EXPECT_EQ(finder.of(-1), Month(1969, 12));
    EXPECT_EQ(finder.of(0), Month(1970, 1));
    EXPECT_EQ(finder.of(-1), Month(1969, 12));
}

TEST(Calendar, HasTheLeapDayInLeapYearsAlone)
{
    const Zone zone("UTC");
    const DayOfYear day{2, 29};
    ASSERT_TRUE(day.in(2008));
    EXPECT_EQ(localTime(day.in(2008)->from), "2008-02-29T00:00:00Z");
    EXPECT_EQ(day.in(2008)->before - day.in(2008)->from, 24 * HOUR);
    EXPECT_FALSE(day.in(2010));
    EXPECT_TRUE((DayOfYear{2, 28}.in(2010)));
}

TEST(Calendar, WritesTimesAsClocksShowThem)
{
    const Zone zone("America/St_Johns");
    EXPECT_EQ(localTime(1273043049'000), "2010-05-05T04:34:09-02:30");
    EXPECT_EQ(localTime(1273043049'007), "2010-05-05T04:34:09.007-02:30");
    EXPECT_EQ(markerTime(1273043049'000), "2010-05-05T07:04:09Z");
    EXPECT_EQ(markerTime(-1), "1969-12-31T23:59:59.999Z");
}

} // namespace
