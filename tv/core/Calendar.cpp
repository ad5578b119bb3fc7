// SPDX-License-Identifier: MIT
#include "tv/core/Calendar.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace tv {

namespace {

constexpr Millis SECOND = 1000;

struct SplitTime {
    std::time_t seconds;
    int thousandths;
};

/// Rounded down, also before 1970.
SplitTime split(Millis time)
{
    Millis seconds = time / SECOND;
    Millis rest = time % SECOND;
    if (rest < 0) {
        --seconds;
        rest += SECOND;
    }
    return {static_cast<std::time_t>(seconds), static_cast<int>(rest)};
}

std::tm wallClock(Millis time)
{
    const std::time_t seconds = split(time).seconds;
    std::tm parts{};
    ::localtime_r(&seconds, &parts);
    return parts;
}

/// When clocks show the beginning of a day, or go past it where they skip it.
Millis beginOfDay(int year, int month, int day)
{
    std::tm parts{};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_isdst = -1;
    return Millis{std::mktime(&parts)} * SECOND;
}

std::string withThousandths(const char* format, const std::tm& parts, int thousandths)
{
    char text[64];
    std::string time(text, std::strftime(text, sizeof text, format, &parts));
    if (thousandths != 0) {
        std::snprintf(text, sizeof text, ".%03d", thousandths);
        time += text;
    }
    return time;
}

} // namespace

Millis present()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

Month Month::of(Millis time)
{
    const std::tm parts = wallClock(time);
    return {parts.tm_year + 1900, parts.tm_mon + 1};
}

std::optional<Month> Month::parse(std::string_view text)
{
    constexpr std::size_t LENGTH = 7;
    if (text.size() != LENGTH || text[4] != '-')
        return std::nullopt;
    int numbers[2] = {0, 0};
    for (std::size_t place = 0; place < LENGTH; ++place) {
        if (place == 4)
            continue;
        if (text[place] < '0' || text[place] > '9')
            return std::nullopt;
        int& number = numbers[place > 4 ? 1 : 0];
        number = number * 10 + (text[place] - '0');
    }
    if (numbers[1] < 1 || numbers[1] > 12)
        return std::nullopt;
    return Month(numbers[0], numbers[1]);
}

std::string Month::text() const
{
    char text[16];
    std::snprintf(text, sizeof text, "%04d-%02d", year(), month());
    return text;
}

TimeRange Month::range() const { return {beginOfDay(year(), month(), 1), beginOfDay(year(), month() + 1, 1)}; }

DayOfYear DayOfYear::of(Millis time)
{
    const std::tm parts = wallClock(time);
    return {parts.tm_mon + 1, parts.tm_mday};
}

std::optional<TimeRange> DayOfYear::in(int year) const
{
    const TimeRange range{beginOfDay(year, month, day), beginOfDay(year, month, day + 1)};
    const std::tm parts = wallClock(range.from);
    if (parts.tm_mon + 1 != month)
        return std::nullopt;
    return range;
}

std::string localTime(Millis time)
{
    const std::tm parts = wallClock(time);
    std::string text = withThousandths("%Y-%m-%dT%H:%M:%S", parts, split(time).thousandths);
    if (parts.tm_gmtoff == 0)
        return text + "Z";
    const long minutes = (parts.tm_gmtoff < 0 ? -parts.tm_gmtoff : parts.tm_gmtoff) / 60;
    char offset[32];
    std::snprintf(offset, sizeof offset, "%c%02ld:%02ld", parts.tm_gmtoff < 0 ? '-' : '+', minutes / 60, minutes % 60);
    return text + offset;
}

std::string markerTime(Millis time)
{
    const SplitTime split_ = split(time);
    std::tm parts{};
    ::gmtime_r(&split_.seconds, &parts);
    return withThousandths("%Y-%m-%dT%H:%M:%S", parts, split_.thousandths) + "Z";
}

} // namespace tv
