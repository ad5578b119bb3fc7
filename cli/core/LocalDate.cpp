// SPDX-License-Identifier: MIT
#include "core/LocalDate.h"

#include "core/Errors.h"
#include "core/Text.h"

#include <tuple>

namespace kinloom {

namespace {

/// No zone is farther from Greenwich.
constexpr std::time_t FARTHEST = 27 * 60 * 60;
constexpr std::time_t DAY = 24 * 60 * 60;

bool isLeap(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int daysIn(int year, int month)
{
    constexpr int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && isLeap(year) ? 29 : DAYS[month - 1];
}

auto ordered(const LocalDate& date) { return std::make_tuple(date.year, date.month, date.day); }

LocalDate dateAt(std::time_t time)
{
    std::tm parts{};
    localtime_r(&time, &parts);
    return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday};
}

/// The day's beginning in Greenwich.
std::time_t inGreenwich(const LocalDate& date)
{
    std::tm parts{};
    parts.tm_year = date.year - 1900;
    parts.tm_mon = date.month - 1;
    parts.tm_mday = date.day;
    return timegm(&parts);
}

/// The first second of a span at which the local date is so late. A search needs no rule for days whose midnight there is not or
/// twice, and for zones that have left out a day.
template <class IsThere> std::time_t firstWhere(std::time_t before, std::time_t there, IsThere isThere)
{
    while (there - before > 1) {
        const std::time_t middle = before + (there - before) / 2;
        (isThere(dateAt(middle)) ? there : before) = middle;
    }
    return there;
}

} // namespace

LocalDate LocalDate::parse(const std::string& text, const std::string& option)
{
    const auto number = [&](std::size_t at, std::size_t digits) {
        const auto value = at + digits <= text.size() ? wholeNumber(text.substr(at, digits)) : std::nullopt;
        return value ? static_cast<int>(*value) : 0;
    };
    const LocalDate date{number(0, 4), number(5, 2), number(8, 2)};
    // What reads otherwise when it is written again was no date, such as "2024-7-14x".
    const bool good = date.year > 0 && date.month >= 1 && date.month <= 12 && date.day >= 1 &&
                      date.day <= daysIn(date.year, date.month) && date.text() == text;
    if (!good)
        throw Failure(Exit::USAGE, option + ": '" + neutralised(text) + "' is no day: it should look like 2024-07-14");
    return date;
}

std::string LocalDate::text() const
{
    char text[40];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", year, month, day);
    return text;
}

std::time_t firstSecondOf(const LocalDate& date)
{
    const std::time_t about = inGreenwich(date);
    return firstWhere(about - FARTHEST, about + FARTHEST, [&](const LocalDate& at) { return ordered(at) >= ordered(date); });
}

std::time_t firstSecondAfter(const LocalDate& date)
{
    const std::time_t about = inGreenwich(date) + DAY;
    return firstWhere(about - FARTHEST, about + FARTHEST, [&](const LocalDate& at) { return ordered(at) > ordered(date); });
}

LocalDates::LocalDates(const std::string& since, const std::string& until)
{
    const LocalDate first = since.empty() ? LocalDate() : LocalDate::parse(since, "--since");
    const LocalDate last = until.empty() ? LocalDate() : LocalDate::parse(until, "--until");
    if (!since.empty())
        m_begin = firstSecondOf(first);
    if (!until.empty())
        m_end = firstSecondAfter(last);
    if (m_begin && m_end && ordered(first) > ordered(last))
        throw Failure(Exit::USAGE, "--since " + since + " is later than --until " + until);
}

} // namespace kinloom
