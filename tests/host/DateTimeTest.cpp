// SPDX-License-Identifier: MIT
#include "W/WDateTime.h"

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <optional>
#include <vector>

using namespace W;

namespace {

WDateTime read(const STRING& text, WDateTime::TIMEZONE zone = WDateTime::ZONE_UTC)
{
    return WDateTime::fromString(text, WDateTime::FORMAT_ISO8601, zone);
}

/// A local zone for one test.
class LocalZone {
public:
    explicit LocalZone(const char* zone)
    {
        if (const char* const before = std::getenv("TZ"))
            m_before = before;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~LocalZone()
    {
        if (m_before)
            setenv("TZ", m_before->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    std::optional<std::string> m_before;
};

struct Reading {
    const char* text;
    std::int64_t seconds;
    UINT32 nanoseconds;
};

TEST(DateTime, ReadsEveryFormThatTheServiceMayWrite)
{
    constexpr std::int64_t MOMENT = 1273043049; // 2010-05-05T07:04:09Z
    const Reading readings[] = {
        {"2010-05-05T07:04:09Z", MOMENT, 0},
        {"2010-05-05t07:04:09z", MOMENT, 0},
        {"2010-05-05 07:04:09Z", MOMENT, 0},
        {"2010-05-05T07:04:09", MOMENT, 0},
        {"2010-05-05 07:04:09", MOMENT, 0},
        {"  2010-05-05T07:04:09Z\r\n\t", MOMENT, 0},
        {"2010-05-05T16:04:09+09:00", MOMENT, 0},
        {"2010-05-05T16:04:09+0900", MOMENT, 0},
        {"2010-05-05T16:04:09+09", MOMENT, 0},
        {"2010-05-04T19:34:09-11:30", MOMENT, 0},
        {"2010-05-05T07:04:09+00:00", MOMENT, 0},
        {"2010-05-05T07:04:09-00:00", MOMENT, 0},
        {"2010-05-06T07:03:09+23:59", MOMENT, 0},
        {"2010-05-05T07:04:09.5Z", MOMENT, 500'000'000},
        {"2010-05-05T07:04:09,25Z", MOMENT, 250'000'000},
        {"2010-05-05T07:04:09.000000001Z", MOMENT, 1},
        {"2010-05-05T07:04:09.1234567899999Z", MOMENT, 123'456'789},
        {"2010-05-05T07:04:09.9999999999+00", MOMENT, 999'999'999},
        {"2010-05-05T07:04:09.0", MOMENT, 0},
        {"2010-05-05T07:04Z", MOMENT - 9, 0},
        {"2010-05-05T16:04+09:00", MOMENT - 9, 0},
        {"2010-05-05 07:04", MOMENT - 9, 0},
        {"20100505T070409Z", MOMENT, 0},
        {"20100505T070409.5+0000", MOMENT, 500'000'000},
        {"20100505T0704Z", MOMENT - 9, 0},
        {"2010-05-05", 1273017600, 0},
        {"1970-01-01T00:00:00Z", 0, 0},
        {"1969-12-31T23:59:59.75Z", -1, 750'000'000},
        {"1900-03-01", -2203891200, 0},
        {"2000-02-29T00:00:00Z", 951782400, 0},
        {"2004-02-29", 1078012800, 0},
        {"2400-02-29", 13574563200, 0},
        {"0000-01-01T00:00:00Z", -62167219200, 0},
        {"0000-02-29", -62162121600, 0},
        {"9999-12-31T23:59:59.999999999Z", 253402300799, 999'999'999},
        {"2038-01-19T03:14:08Z", 2147483648, 0},
        {"2016-12-31T23:59:60Z", 1483228800, 0},
        {"2017-01-01T08:59:60.5+09:00", 1483228800, 500'000'000},
        {"2012-06-30T23:59:60Z", 1341100800, 0},
        {"2012-06-30T18:29:60-05:30", 1341100800, 0},
    };
    for (const Reading& expected : readings) {
        const WDateTime date = read(expected.text);
        EXPECT_TRUE(date.isSet()) << expected.text;
        EXPECT_EQ(date.getSeconds(), expected.seconds) << expected.text;
        EXPECT_EQ(date.getNanoseconds(), expected.nanoseconds) << expected.text;
    }
}

TEST(DateTime, ReadsNothingElse)
{
    for (const char* text : {"",
                             " ",
                             "\r\n",
                             "garbage",
                             "null",
                             "-",
                             "T",
                             "Z",
                             "2010",
                             "2010-05",
                             "201005",
                             "20100505",
                             "2010-5-5",
                             "2010-05-5",
                             "210-05-05",
                             "02010-05-05",
                             "+2010-05-05",
                             "-2010-05-05",
                             "2010-00-05",
                             "2010-13-05",
                             "2010-05-00",
                             "2010-05-32",
                             "2010-04-31",
                             "2010-02-29",
                             "1900-02-29",
                             "2100-02-29",
                             "2010/05/05",
                             "2010.05.05",
                             "05-05-2010",
                             "2010-0505",
                             "201005-05",
                             "2010-05-05T",
                             "2010-05-05T07",
                             "2010-05-05T07:",
                             "2010-05-05T07:4",
                             "2010-05-05T7:04:09Z",
                             "2010-05-05T24:00:00Z",
                             "2010-05-05T25:00:00Z",
                             "2010-05-05T07:60:09Z",
                             "2010-05-05T07:04:61Z",
                             "2010-05-05T07:04:60Z",
                             "2010-12-31T23:58:60Z",
                             "2015-06-30T23:59:60+01:00",
                             "2010-03-31T23:59:60Z",
                             "1971-12-31T23:59:60Z",
                             "2016-12-31T23:60:00Z",
                             "2010-05-05T07:04:9Z",
                             "2010-05-05T07:04:Z",
                             "2010-05-05T07:04:09.",
                             "2010-05-05T07:04:09.Z",
                             "2010-05-05T07:04.5Z",
                             "2010-05-05T07:04:09.-5Z",
                             "2010-05-05T07:04:09..5Z",
                             "2010-05-05T07:04:09 Z",
                             "2010-05-05T07:04:09ZZ",
                             "2010-05-05T07:04:09Zulu",
                             "2010-05-05T07:04:09+",
                             "2010-05-05T07:04:09+9",
                             "2010-05-05T07:04:09+9:00",
                             "2010-05-05T07:04:09+09:",
                             "2010-05-05T07:04:09+09:0",
                             "2010-05-05T07:04:09+090",
                             "2010-05-05T07:04:09+09:000",
                             "2010-05-05T07:04:09+24:00",
                             "2010-05-05T07:04:09+09:60",
                             "2010-05-05T07:04:09 +09:00",
                             "2010-05-05T07:04:09+-9:00",
                             "2010-05-05T07:04:09UTC",
                             "2010-05-05T07:04:09GMT",
                             "2010-05-05T07-04-09Z",
                             "2010-05-05T0704:09Z",
                             "2010-05-05T070409Z",
                             "20100505T07:04:09Z",
                             "2010-05-05TT07:04:09Z",
                             "2010-05-05  07:04:09Z",
                             "2010-05-05_07:04:09Z",
                             "2010-05-05\n07:04:09Z",
                             "2010-W18-3",
                             "2010-125",
                             "2010-05-05T07:04:09Z,",
                             "x2010-05-05T07:04:09Z",
                             "2010-05-05Z",
                             "2010-05-05+09:00",
                             "Wed, 05 May 2010 07:04:09 GMT",
                             "1273043049",
                             "0x7da-05-05",
                             "2010-05-05T07:04:09\u221209:00",
                             "\uff12010-05-05",
                             "0000-01-01T00:00:00+00:01",
                             "9999-12-31T23:59:59-00:01"})
        EXPECT_FALSE(read(text).isSet()) << text;
}

TEST(DateTime, ReadsNothingAfterANul)
{
    EXPECT_FALSE(read(STRING("2010-05-05\0", 11)).isSet());
    EXPECT_FALSE(read(STRING("2010-05-05T07:04:09Z\0 ", 22)).isSet());
    EXPECT_FALSE(read(STRING("\0", 1)).isSet());
}

TEST(DateTime, SurvivesEveryTruncationAndEveryByteInEveryPlace)
{
    const STRING whole = "2010-05-05T07:04:09.123456789+09:30";
    ASSERT_TRUE(read(whole).isSet());
    for (std::size_t length = 0; length <= whole.size(); ++length)
        for (int byte = 0; byte < 256; ++byte) {
            STRING text = whole.substr(0, length);
            if (length > 0)
                text[length - 1] = static_cast<char>(byte);
            const WDateTime date = read(text);
            if (date.isSet())
                EXPECT_EQ(read(date.toString()), date) << text;
            else
                EXPECT_EQ(date, WDateTime()) << text;
        }
}

TEST(DateTime, ReadsLongTextsInOnePass)
{
    constexpr std::size_t LONG = 10'000'000;
    // NOLINTBEGIN(bugprone-string-constructor): they are meant to be as long as that
    EXPECT_FALSE(read(STRING(LONG, '2')).isSet());
    EXPECT_TRUE(read("2010-05-05T07:04:09." + STRING(LONG, '3') + "Z").isSet());
    // NOLINTEND(bugprone-string-constructor)
    EXPECT_TRUE(read(STRING(1'000'000, ' ') + "2010-05-05" + STRING(1'000'000, '\n')).isSet());
}

TEST(DateTime, TakesTheZoneArgumentForATextWithoutOne)
{
    const LocalZone tokyo("Asia/Tokyo");
    EXPECT_EQ(read("2010-05-05T16:04:09", WDateTime::ZONE_LOCAL), read("2010-05-05T07:04:09Z"));
    EXPECT_EQ(read("2010-05-05", WDateTime::ZONE_LOCAL), read("2010-05-04T15:00:00Z"));
    EXPECT_EQ(read("2010-05-05T16:04:09Z", WDateTime::ZONE_LOCAL), read("2010-05-05T16:04:09Z")) << "its own zone goes first";
    EXPECT_EQ(read("2010-05-05T16:04:09", WDateTime::ZONE_UTC), read("2010-05-05T16:04:09Z"));
}

TEST(DateTime, KnowsTheSummerTimeOfTheLocalZone)
{
    const LocalZone berlin("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(read("2010-01-15T12:00:00", WDateTime::ZONE_LOCAL), read("2010-01-15T11:00:00Z"));
    EXPECT_EQ(read("2010-07-15T12:00:00", WDateTime::ZONE_LOCAL), read("2010-07-15T10:00:00Z"));
    EXPECT_EQ(read("1969-12-31T23:59:59", WDateTime::ZONE_LOCAL), read("1969-12-31T22:59:59Z"));
    EXPECT_EQ(read("1970-01-01T00:59:59", WDateTime::ZONE_LOCAL), read("1969-12-31T23:59:59Z")) << "one second before the epoch";
    EXPECT_TRUE(read("2010-03-28T02:30:00", WDateTime::ZONE_LOCAL).isSet()) << "a time that the clocks skip";
}

TEST(DateTime, ReadsNothingInAnUnknownFormatOrZone)
{
    EXPECT_FALSE(WDateTime::fromString("2010-05-05T07:04:09Z", static_cast<WDateTime::DATEFORMAT>(1), WDateTime::ZONE_UTC).isSet());
    EXPECT_FALSE(
        WDateTime::fromString("2010-05-05T07:04:09Z", static_cast<WDateTime::DATEFORMAT>(0xffffffff), WDateTime::ZONE_UTC).isSet());
    EXPECT_FALSE(read("2010-05-05T07:04:09", static_cast<WDateTime::TIMEZONE>(7)).isSet());
    EXPECT_TRUE(read("2010-05-05T07:04:09Z", static_cast<WDateTime::TIMEZONE>(7)).isSet()) << "the text names its own";
}

TEST(DateTime, PrintsAsRfc3339InUtc)
{
    EXPECT_EQ(WDateTime().toString(), "");
    EXPECT_EQ(read("2010-05-05T16:04:09+09:00").toString(), "2010-05-05T07:04:09Z");
    EXPECT_EQ(read("2010-05-05T07:04:09.500Z").toString(), "2010-05-05T07:04:09.5Z");
    EXPECT_EQ(read("2010-05-05T07:04:09.000000001Z").toString(), "2010-05-05T07:04:09.000000001Z");
    EXPECT_EQ(read("1969-12-31T23:59:59.75Z").toString(), "1969-12-31T23:59:59.75Z");
    EXPECT_EQ(read("0000-01-01").toString(), "0000-01-01T00:00:00Z");
    EXPECT_EQ(read("9999-12-31T23:59:59Z").toString(), "9999-12-31T23:59:59Z");
    EXPECT_EQ(read("2016-12-31T23:59:60Z").toString(), "2017-01-01T00:00:00Z");
}

TEST(DateTime, ReadsBackEveryDayThatItPrints)
{
    // Every day of four centuries: the whole cycle of the calendar, in agreement with the C library.
    for (std::time_t day = -200'000; day < 200'000; ++day) {
        const std::time_t seconds = day * 86'400 + 3'723;
        std::tm broken{};
        gmtime_r(&seconds, &broken);
        char text[64];
        std::snprintf(text, sizeof text, "%04d-%02d-%02dT01:02:03Z", broken.tm_year + 1900, broken.tm_mon + 1, broken.tm_mday);
        const WDateTime date = read(text);
        ASSERT_EQ(date.getSeconds(), seconds) << text;
        ASSERT_EQ(date.toString(), text);
    }
}

TEST(DateTime, ComparesByTimeAndPutsTheUnsetFirst)
{
    const std::vector<WDateTime> sorted = {WDateTime(),
                                           read("0000-01-01"),
                                           read("1969-12-31T23:59:59.9Z"),
                                           read("1970-01-01"),
                                           read("2010-05-05T07:04:09Z"),
                                           read("2010-05-05T07:04:09.1Z"),
                                           read("2010-05-05T07:04:10Z")};
    for (std::size_t i = 0; i < sorted.size(); ++i)
        for (std::size_t j = 0; j < sorted.size(); ++j) {
            EXPECT_EQ(sorted[i] == sorted[j], i == j);
            EXPECT_EQ(sorted[i] != sorted[j], i != j);
            EXPECT_EQ(sorted[i] < sorted[j], i < j);
            EXPECT_EQ(sorted[i] > sorted[j], i > j);
            EXPECT_EQ(sorted[i] <= sorted[j], i <= j);
            EXPECT_EQ(sorted[i] >= sorted[j], i >= j);
        }
    EXPECT_NE(WDateTime(), read("1970-01-01")) << "unset is not the epoch";
}

} // namespace
