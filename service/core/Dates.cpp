// SPDX-License-Identifier: MIT
#include "core/Dates.h"

#include "core/Text.h"
#include "core/TimeZone.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace kinloomd {

namespace {

constexpr Millis MILLIS_PER_DAY = 86'400'000;
constexpr Millis MILLIS_PER_MINUTE = 60'000;

/// Days since 1970-01-01 of a date of the proleptic Gregorian calendar. Years begin in March here, so that the leap day is last.
constexpr std::int64_t daysFromCivil(std::int64_t year, int month, int day)
{
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146'097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719'468;
}

struct Civil {
    std::int64_t year;
    int month;
    int day;
};

Civil civilFromDays(std::int64_t days)
{
    days += 719'468;
    const std::int64_t era = (days >= 0 ? days : days - 146'096) / 146'097;
    const std::int64_t dayOfEra = days - era * 146'097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const auto monthFromMarch = static_cast<int>((5 * dayOfYear + 2) / 153);
    const auto day = static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
    const int month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

int daysInMonth(std::int64_t year, int month)
{
    static constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && leap ? 29 : DAYS[month - 1];
}

/// The day of a time, counted from 1970-01-01.
constexpr std::int64_t dayOf(Millis time) { return (time >= 0 ? time : time - (MILLIS_PER_DAY - 1)) / MILLIS_PER_DAY; }

/// What a clock shows.
std::string wallText(Millis time)
{
    const std::int64_t days = dayOf(time);
    const auto rest = static_cast<int>(time - days * MILLIS_PER_DAY);
    const Civil date = civilFromDays(days);
    char text[64];
    int length = std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02d", static_cast<long long>(date.year), date.month,
                               date.day, rest / 3'600'000, rest / 60'000 % 60, rest / 1000 % 60);
    if (rest % 1000 != 0)
        length += std::snprintf(text + length, sizeof text - static_cast<std::size_t>(length), ".%03d", rest % 1000);
    return std::string(text, static_cast<std::size_t>(length));
}

/// Reads a text from left to right; once something does not fit, everything after fails too.
class Scanner {
public:
    explicit Scanner(std::string_view text) : m_rest(text) {}

    int number(std::size_t digits)
    {
        int value = 0;
        if (m_rest.size() < digits)
            return fail();
        for (std::size_t i = 0; i < digits; ++i) {
            if (m_rest[i] < '0' || m_rest[i] > '9')
                return fail();
            value = value * 10 + (m_rest[i] - '0');
        }
        m_rest.remove_prefix(digits);
        return value;
    }

    /// Takes one character of the set and returns it; 0 when the next is none of them.
    char take(std::string_view set)
    {
        if (m_rest.empty() || set.find(m_rest[0]) == std::string_view::npos)
            return 0;
        const char c = m_rest[0];
        m_rest.remove_prefix(1);
        return c;
    }

    void require(std::string_view set)
    {
        if (take(set) == 0)
            fail();
    }

    /// The digits of a fraction, as milliseconds.
    int fraction()
    {
        int value = 0;
        int digits = 0;
        while (!m_rest.empty() && m_rest[0] >= '0' && m_rest[0] <= '9') {
            if (digits < 3)
                value = value * 10 + (m_rest[0] - '0');
            ++digits;
            m_rest.remove_prefix(1);
        }
        if (digits == 0)
            return fail();
        for (; digits < 3; ++digits)
            value *= 10;
        return value;
    }

    bool atEnd() const { return m_rest.empty(); }
    bool failed() const { return m_failed; }

private:
    int fail()
    {
        m_failed = true;
        m_rest = {};
        return 0;
    }

    std::string_view m_rest;
    bool m_failed = false;
};

std::optional<Millis> readDate(Scanner& scan, std::string_view separator)
{
    const int year = scan.number(4);
    scan.require(separator);
    const int month = scan.number(2);
    scan.require(separator);
    const int day = scan.number(2);
    if (scan.failed() || month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month))
        return std::nullopt;
    return daysFromCivil(year, month, day) * MILLIS_PER_DAY;
}

std::optional<Millis> readClock(Scanner& scan)
{
    const int hour = scan.number(2);
    scan.require(":");
    const int minute = scan.number(2);
    scan.require(":");
    const int second = scan.number(2);
    const int millis = scan.take(".,") != 0 ? scan.fraction() : 0;
    // A leap second counts as the first of the next minute.
    if (scan.failed() || hour > 23 || minute > 59 || second > 60)
        return std::nullopt;
    return ((hour * 60 + minute) * 60 + second) * Millis{1000} + millis;
}

/// The time, or nothing when its year in UTC has not four digits, as an offset can have it.
std::optional<Millis> writable(Millis time)
{
    constexpr Millis FIRST = daysFromCivil(0, 1, 1) * MILLIS_PER_DAY;
    constexpr Millis END = daysFromCivil(10'000, 1, 1) * MILLIS_PER_DAY;
    return time >= FIRST && time < END ? std::optional<Millis>(time) : std::nullopt;
}

/// The offset from UTC that a text names; nothing when it is malformed.
std::optional<Millis> readOffset(Scanner& scan)
{
    if (scan.atEnd() || scan.take("Zz") != 0)
        return 0;
    const char sign = scan.take("+- ");
    const int hours = scan.number(2);
    scan.take(":");
    const int minutes = scan.number(2);
    if (sign == 0 || scan.failed() || hours > 23 || minutes > 59)
        return std::nullopt;
    const Millis offset = (hours * 60 + minutes) * Millis{60'000};
    return sign == '-' ? -offset : offset;
}

} // namespace

Millis now()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string formatTime(Millis time) { return wallText(time) + "Z"; }

std::string formatTime(Millis time, Millis offset)
{
    const Millis minutes = offset / MILLIS_PER_MINUTE * MILLIS_PER_MINUTE;
    return wallText(time + minutes) + formatOffset(minutes);
}

std::string formatOffset(Millis offset)
{
    const auto minutes = static_cast<int>((offset < 0 ? -offset : offset) / MILLIS_PER_MINUTE);
    char text[16];
    std::snprintf(text, sizeof text, "%c%02d:%02d", offset < 0 ? '-' : '+', minutes / 60 % 100, minutes % 60);
    return text;
}

std::string monthOf(Millis wall)
{
    const Civil date = civilFromDays(dayOf(wall));
    char text[32];
    std::snprintf(text, sizeof text, "%04lld-%02d", static_cast<long long>(date.year), date.month);
    return text;
}

Millis beginOfMonth(Millis wall)
{
    const Civil date = civilFromDays(dayOf(wall));
    return daysFromCivil(date.year, date.month, 1) * MILLIS_PER_DAY;
}

Millis endOfMonth(Millis wall)
{
    const Civil date = civilFromDays(dayOf(wall));
    return daysFromCivil(date.month == 12 ? date.year + 1 : date.year, date.month == 12 ? 1 : date.month + 1, 1) * MILLIS_PER_DAY;
}

std::optional<Millis> parseMonth(std::string_view text)
{
    return text.size() == 7 ? parseTime(std::string(text) + "-01") : std::nullopt;
}

std::uint32_t dosTime(Millis wall)
{
    constexpr Millis FIRST = daysFromCivil(1980, 1, 1) * MILLIS_PER_DAY;
    constexpr Millis LAST = daysFromCivil(2108, 1, 1) * MILLIS_PER_DAY - 2000;
    const Millis time = std::clamp(wall, FIRST, LAST);
    const Civil date = civilFromDays(dayOf(time));
    const auto seconds = static_cast<std::uint32_t>((time - dayOf(time) * MILLIS_PER_DAY) / 1000);
    return static_cast<std::uint32_t>(date.year - 1980) << 25 | static_cast<std::uint32_t>(date.month) << 21 |
           static_cast<std::uint32_t>(date.day) << 16 | seconds / 3600 << 11 | seconds / 60 % 60 << 5 | seconds % 60 / 2;
}

std::optional<Millis> parseTime(std::string_view text)
{
    Scanner scan(text);
    const auto date = readDate(scan, "-");
    if (!date)
        return std::nullopt;
    if (scan.atEnd())
        return date;
    scan.require("Tt ");
    const auto clock = readClock(scan);
    if (!clock)
        return std::nullopt;
    const auto offset = readOffset(scan);
    if (!offset || !scan.atEnd())
        return std::nullopt;
    return writable(*date + *clock - *offset);
}

std::optional<Millis> parsePhotoTime(std::string_view text, std::string_view subseconds, std::string_view offset,
                                     const TimeZone& zone)
{
    Scanner scan(text);
    const auto date = readDate(scan, ":");
    scan.require(" ");
    const auto clock = readClock(scan);
    if (!date || !clock || !scan.atEnd())
        return std::nullopt;
    Millis wall = *date + *clock;
    Scanner digits(trim(subseconds));
    if (const int millis = digits.fraction(); wall % 1000 == 0 && digits.atEnd() && !digits.failed())
        wall += millis;
    Scanner shift(trim(offset));
    const auto east = shift.atEnd() ? std::nullopt : readOffset(shift);
    return writable(east && shift.atEnd() ? wall - *east : zone.whenClocksShow(wall));
}

} // namespace kinloomd
