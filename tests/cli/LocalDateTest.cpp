// SPDX-License-Identifier: MIT
#include "core/LocalDate.h"
#include "core/Errors.h"

#include <cstdlib>
#include <gmock/gmock.h>

using namespace kinloom;
using testing::HasSubstr;

namespace {

/// The zone of this process, for the length of a scope.
class Zone {
public:
    explicit Zone(const char* name)
    {
        if (const char* const before = std::getenv("TZ"))
            m_before = before;
        set(name);
    }
    ~Zone() { set(m_before ? m_before->c_str() : nullptr); }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;

private:
    static void set(const char* name)
    {
        if (name != nullptr)
            setenv("TZ", name, 1);
        else
            unsetenv("TZ");
        tzset();
    }
    std::optional<std::string> m_before;
};

struct DayCase {
    const char* zone;
    const char* day;
    std::time_t begin;
    std::time_t seconds;
};

// The rules are written out, so that they are the same on every computer.
constexpr const char* BERLIN = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* SYDNEY = "AEST-10AEDT,M10.1.0,M4.1.0/3";
constexpr const char* MIDNIGHT = "XST3XDT,M10.3.0/0,M2.3.0/0"; ///< clocks change at midnight

constexpr DayCase DAYS[] = {
    {"UTC0", "2024-07-14", 1720915200, 86'400},    {BERLIN, "2024-07-14", 1720908000, 86'400},
    {BERLIN, "2024-03-31", 1711839600, 23 * 3600}, ///< an hour is left out
    {BERLIN, "2024-10-27", 1729980000, 25 * 3600}, ///< an hour comes twice
    {SYDNEY, "2024-07-14", 1720879200, 86'400},    {"LINT-14", "2024-07-14", 1720864800, 86'400},
    {"BIT12", "2024-07-14", 1720958400, 86'400},   {MIDNIGHT, "2024-10-20", 1729393200, 23 * 3600}, ///< begins at one o'clock
    {"UTC0", "2024-02-29", 1709164800, 86'400},    {"UTC0", "1969-12-31", -86'400, 86'400},
};

TEST(LocalDate, BeginsAndEndsWhereItsZoneSaysSo)
{
    for (const DayCase& entry : DAYS) {
        const Zone zone(entry.zone);
        const LocalDate date = LocalDate::parse(entry.day, "--since");
        EXPECT_EQ(firstSecondOf(date), entry.begin) << entry.zone << " " << entry.day;
        EXPECT_EQ(firstSecondAfter(date) - firstSecondOf(date), entry.seconds) << entry.zone << " " << entry.day;
    }
}

TEST(LocalDate, ThatItsZoneHasLeftOutIsEmpty)
{
    const Zone zone("Pacific/Apia"); // went over the date line: 30 December 2011 was not
    if (std::string(tzname[0]) == "Pacific")
        GTEST_SKIP() << "this computer does not know the zone";
    const LocalDate date = LocalDate::parse("2011-12-30", "--since");
    EXPECT_EQ(firstSecondOf(date), firstSecondAfter(date));
}

TEST(LocalDate, TextsThatAreNoDayAreRefused)
{
    for (const char* text : {"", "2024", "2024-07", "2024-7-14", "2024-07-14 ", " 2024-07-14", "2024-07-14T00", "2024-13-01",
                             "2024-00-01", "2024-01-00", "2024-04-31", "2023-02-29", "1900-02-29", "0000-01-01", "20240714",
                             "yesterday", "+024-07-14", "2024-07-1x"}) {
        try {
            LocalDate::parse(text, "--since");
            ADD_FAILURE() << text;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.exitCode(), Exit::USAGE);
            EXPECT_THAT(failure.what(), HasSubstr("--since"));
        }
    }
    EXPECT_EQ(LocalDate::parse("2000-02-29", "--since").text(), "2000-02-29");
}

TEST(LocalDates, HoldBothEnds)
{
    const Zone zone(BERLIN);
    const LocalDates dates("2024-07-14", "2024-07-15");
    EXPECT_FALSE(dates.hold(1720908000 - 1));
    EXPECT_TRUE(dates.hold(1720908000));
    EXPECT_TRUE(dates.hold(1720908000 + 2 * 86'400 - 1));
    EXPECT_FALSE(dates.hold(1720908000 + 2 * 86'400));
    const LocalDates one("2024-07-14", "2024-07-14");
    EXPECT_TRUE(one.hold(1720908000));
    EXPECT_FALSE(one.hold(1720908000 + 86'400));
}

TEST(LocalDates, MayBeOpen)
{
    EXPECT_TRUE(LocalDates().open());
    EXPECT_TRUE(LocalDates().hold(0));
    EXPECT_TRUE(LocalDates("2024-07-14", "").hold(4'000'000'000));
    EXPECT_FALSE(LocalDates("2024-07-14", "").hold(0));
    EXPECT_TRUE(LocalDates("", "2024-07-14").hold(0));
    EXPECT_THROW(LocalDates("2024-07-15", "2024-07-14"), Failure);
}

} // namespace
