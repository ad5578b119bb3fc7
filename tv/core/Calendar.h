// SPDX-License-Identifier: MIT
/// \file Months and days as clocks show them where this television stands.
#ifndef KINLOOM_TV_CORE_CALENDAR_H
#define KINLOOM_TV_CORE_CALENDAR_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tv {

/// Milliseconds since 1970-01-01T00:00:00Z.
using Millis = std::int64_t;

Millis present();

/// From one time on, and before another one.
struct TimeRange {
    Millis from = 0;
    Millis before = 0;

    bool holds(Millis time) const { return time >= from && time < before; }
};

/// A month of a year; months follow each other by ones.
class Month {
public:
    Month() = default;
    Month(int year, int month) : m_number(year * 12 + month - 1) {}

    /// The month that holds a time.
    static Month of(Millis time);
    /// "2010-05"; nothing for what is none.
    static std::optional<Month> parse(std::string_view text);

    /// "2010-05"
    std::string text() const;
    int year() const { return m_number / 12; }
    /// From 1 to 12.
    int month() const { return m_number % 12 + 1; }
    Month before() const { return fromNumber(m_number - 1); }
    TimeRange range() const;
    int number() const { return m_number; }

    friend bool operator==(Month a, Month b) { return a.m_number == b.m_number; }
    friend bool operator!=(Month a, Month b) { return a.m_number != b.m_number; }
    friend bool operator<(Month a, Month b) { return a.m_number < b.m_number; }

private:
    static Month fromNumber(int number)
    {
        Month month;
        month.m_number = number;
        return month;
    }

    int m_number = 1970 * 12;
};

/// Finds the months of many times, quickly where those that follow each other lie in the same one.
class MonthFinder {
public:
    Month of(Millis time)
    {
        if (!m_range.holds(time)) {
            m_month = Month::of(time);
            m_range = m_month.range();
        }
        return m_month;
    }

private:
    TimeRange m_range;
    Month m_month;
};

/// Today's month and day.
struct DayOfYear {
    int month = 1;
    int day = 1;

    static DayOfYear of(Millis time);
    /// The day in a year; nothing for the 29th of February in most of them.
    std::optional<TimeRange> in(int year) const;
};

/// The time as RFC 3339 writes it, with the offset that clocks have here: "2010-05-05T09:04:09+02:00"; "Z" where there is none.
/// Thousandths are left out where there are none.
std::string localTime(Millis time);

/// The time as a marker of a feed: "2010-05-05T07:04:09.123Z".
std::string markerTime(Millis time);

} // namespace tv

#endif
