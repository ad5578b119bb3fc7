// SPDX-License-Identifier: MIT
#include "W/WDateTime.h"

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace W {

namespace {

constexpr std::int64_t SECONDS_PER_DAY = 86'400;

/// What a text says, before it is placed in a zone.
struct Fields {
    int year = 0, month = 0, day = 0;
    int hour = 0, minute = 0, second = 0;
    UINT32 nanoseconds = 0;
    bool hasZone = false;
    int offsetSeconds = 0; ///< east of UTC
};

constexpr bool isLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

constexpr int daysInMonth(int year, int month)
{
    constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeapYear(year) ? 29 : DAYS[month - 1];
}

constexpr int YEARS_PER_ERA = 400;
constexpr std::int64_t DAYS_PER_ERA = 146'097;
/// Days from 0000-03-01 to 1970-01-01. Years that begin in March end with the leap day, which keeps the arithmetic regular.
constexpr std::int64_t EPOCH_DAYS = 719'468;

/// Days since 1970-01-01 of a date of the proleptic Gregorian calendar.
constexpr std::int64_t daysFromDate(std::int64_t year, int month, int day)
{
    year -= month <= 2;
    const std::int64_t era = (year >= 0 ? year : year - (YEARS_PER_ERA - 1)) / YEARS_PER_ERA;
    const std::int64_t yearOfEra = year - era * YEARS_PER_ERA;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * DAYS_PER_ERA + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - EPOCH_DAYS;
}

/// The inverse of daysFromDate.
void dateFromDays(std::int64_t days, std::int64_t& year, int& month, int& day)
{
    days += EPOCH_DAYS;
    const std::int64_t era = (days >= 0 ? days : days - (DAYS_PER_ERA - 1)) / DAYS_PER_ERA;
    const std::int64_t dayOfEra = days - era * DAYS_PER_ERA;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shifted = (5 * dayOfYear + 2) / 153;
    day = static_cast<int>(dayOfYear - (153 * shifted + 2) / 5 + 1);
    month = static_cast<int>(shifted < 10 ? shifted + 3 : shifted - 9);
    year = yearOfEra + era * YEARS_PER_ERA + (month <= 2);
}

constexpr std::int64_t EARLIEST = daysFromDate(0, 1, 1) * SECONDS_PER_DAY;
constexpr std::int64_t END = daysFromDate(10'000, 1, 1) * SECONDS_PER_DAY;

/// Reads a text from left to right; every reader returns false at what it does not accept.
class Scanner {
public:
    Scanner(const char* begin, const char* end) : m_at(begin), m_end(end) {}

    bool atEnd() const { return m_at == m_end; }
    bool atDigit() const { return m_at != m_end && *m_at >= '0' && *m_at <= '9'; }

    /// Skips one character if it is one of those given.
    bool skip(const char* set)
    {
        for (; *set != '\0' && m_at != m_end; ++set)
            if (*m_at == *set) {
                ++m_at;
                return true;
            }
        return false;
    }

    /// Reads exactly so many digits as a number within the limits.
    bool number(int digits, int low, int high, int& value)
    {
        value = 0;
        for (; digits > 0; --digits) {
            if (!atDigit())
                return false;
            value = value * 10 + (*m_at++ - '0');
        }
        return value >= low && value <= high;
    }

    /// Reads any number of digits, at least one, as a decimal fraction; what lies below a nanosecond is dropped.
    bool fraction(UINT32& nanoseconds)
    {
        if (!atDigit())
            return false;
        nanoseconds = 0;
        for (UINT32 weight = 100'000'000; atDigit(); ++m_at, weight /= 10)
            nanoseconds += static_cast<UINT32>(*m_at - '0') * weight;
        return true;
    }

    bool signIsNegative() const { return m_at != m_end && *m_at == '-'; }

private:
    const char* m_at;
    const char* m_end;
};

/// "2010-05-05" or "20100505".
bool readDate(Scanner& in, Fields& out, bool& extended)
{
    if (!in.number(4, 0, 9999, out.year))
        return false;
    extended = in.skip("-");
    if (!in.number(2, 1, 12, out.month) || in.skip("-") != extended)
        return false;
    return in.number(2, 1, daysInMonth(out.year, out.month), out.day);
}

/// "07:04:09.25", "07:04", or the same without colons after a date without hyphens.
bool readTime(Scanner& in, Fields& out, bool extended)
{
    if (!in.number(2, 0, 23, out.hour) || in.skip(":") != extended || !in.number(2, 0, 59, out.minute))
        return false;
    if (extended ? !in.skip(":") : !in.atDigit())
        return true;
    if (!in.number(2, 0, 60, out.second))
        return false;
    return !in.skip(".,") || in.fraction(out.nanoseconds);
}

/// "Z", "+09:00", "+0900", "+09" or nothing.
bool readZone(Scanner& in, Fields& out)
{
    if (in.atEnd())
        return true;
    out.hasZone = true;
    if (in.skip("Zz"))
        return true;
    const int sign = in.signIsNegative() ? -1 : 1;
    int hours = 0;
    int minutes = 0;
    if (!in.skip("+-") || !in.number(2, 0, 23, hours))
        return false;
    if ((in.skip(":") || !in.atEnd()) && !in.number(2, 0, 59, minutes))
        return false;
    out.offsetSeconds = sign * (hours * 3600 + minutes * 60);
    return true;
}

bool readFields(Scanner in, Fields& out)
{
    bool extended = true;
    if (!readDate(in, out, extended))
        return false;
    // Eight digits alone could be any number, so a date without hyphens needs a time to be one.
    if (in.atEnd())
        return extended;
    return in.skip("Tt ") && readTime(in, out, extended) && readZone(in, out) && in.atEnd();
}

/// Seconds since the epoch of the fields read as UTC; a second of 60 is the first of the next minute.
std::int64_t asUtc(const Fields& f)
{
    return daysFromDate(f.year, f.month, f.day) * SECONDS_PER_DAY + f.hour * 3600 + f.minute * 60 + f.second;
}

/// Seconds since the epoch of the fields read in the zone of this process.
bool asLocal(const Fields& f, std::int64_t& seconds)
{
    std::tm broken{};
    broken.tm_year = f.year - 1900;
    broken.tm_mon = f.month - 1;
    broken.tm_mday = f.day;
    broken.tm_hour = f.hour;
    broken.tm_min = f.minute;
    broken.tm_sec = f.second;
    broken.tm_isdst = -1;
    // -1 is also a valid result, so the day of the week tells whether mktime worked.
    broken.tm_wday = -1;
    const std::time_t result = std::mktime(&broken);
    seconds = result;
    return broken.tm_wday != -1;
}

/// Leap seconds are inserted at the end of June or December, UTC, since 1972.
bool followsLeapSecond(std::int64_t seconds)
{
    if (seconds % SECONDS_PER_DAY != 0)
        return false;
    std::int64_t year = 0;
    int month = 0;
    int day = 0;
    dateFromDays(seconds / SECONDS_PER_DAY, year, month, day);
    return day == 1 && ((month == 7 && year >= 1972) || (month == 1 && year > 1972));
}

constexpr bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

} // namespace

WDateTime WDateTime::fromString(const STRING& text, DATEFORMAT format, TIMEZONE zone)
{
    if (format != FORMAT_ISO8601)
        return {};
    const char* begin = text.data();
    const char* end = begin + text.size();
    while (begin != end && isBlank(*begin))
        ++begin;
    while (begin != end && isBlank(end[-1]))
        --end;

    Fields fields;
    if (!readFields(Scanner(begin, end), fields))
        return {};
    WDateTime date;
    if (fields.hasZone || zone == ZONE_UTC)
        date.m_seconds = asUtc(fields) - fields.offsetSeconds;
    else if (zone != ZONE_LOCAL || !asLocal(fields, date.m_seconds))
        return {};
    if (fields.second == 60 && !followsLeapSecond(date.m_seconds))
        return {};
    // An offset can carry a date out of the years that RFC 3339 can write.
    if (date.m_seconds < EARLIEST || date.m_seconds >= END)
        return {};
    date.m_nanoseconds = fields.nanoseconds;
    date.m_set = true;
    return date;
}

STRING WDateTime::toString() const
{
    if (!m_set)
        return {};
    std::int64_t days = m_seconds / SECONDS_PER_DAY;
    int secondOfDay = static_cast<int>(m_seconds % SECONDS_PER_DAY);
    if (secondOfDay < 0) {
        secondOfDay += static_cast<int>(SECONDS_PER_DAY);
        --days;
    }
    std::int64_t year = 0;
    int month = 0;
    int day = 0;
    dateFromDays(days, year, month, day);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", static_cast<int>(year), month, day, secondOfDay / 3600,
                  secondOfDay / 60 % 60, secondOfDay % 60);
    STRING result = text;
    if (m_nanoseconds != 0) {
        std::snprintf(text, sizeof text, ".%09u", m_nanoseconds);
        result += text;
        result.erase(result.find_last_not_of('0') + 1);
    }
    return result + 'Z';
}

} // namespace W
