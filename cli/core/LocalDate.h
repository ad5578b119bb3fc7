// SPDX-License-Identifier: MIT
/// \file Days of the calendar, as they are where this computer is.
#ifndef KINLOOM_CORE_LOCALDATE_H
#define KINLOOM_CORE_LOCALDATE_H

#include <ctime>
#include <optional>
#include <string>

namespace kinloom {

/// A day of the calendar.
struct LocalDate {
    int year = 0;
    int month = 0; ///< 1 to 12
    int day = 0;   ///< 1 to 31

    /// Reads "2024-07-14". \throw Failure (usage) when it is no day of the calendar. \param option names it in the message.
    static LocalDate parse(const std::string& text, const std::string& option);
    /// "2024-07-14".
    std::string text() const;
};

/// The first second of the day in the computer's time zone. Of a day that the zone has left out, the first second behind it.
std::time_t firstSecondOf(const LocalDate& date);
/// The first second that comes behind the day.
std::time_t firstSecondAfter(const LocalDate& date);

/// Days from one to another, both inclusive; either may be open.
class LocalDates {
public:
    LocalDates() = default;
    /// \param since, until as --since and --until have them; empty: open. \throw Failure (usage) when one is no day, or they are
    /// the wrong way round.
    LocalDates(const std::string& since, const std::string& until);

    /// The first second that is meant, and the first one that is not any more.
    const std::optional<std::time_t>& begin() const { return m_begin; }
    const std::optional<std::time_t>& end() const { return m_end; }
    bool open() const { return !m_begin && !m_end; }
    bool hold(std::time_t time) const { return (!m_begin || time >= *m_begin) && (!m_end || time < *m_end); }

private:
    std::optional<std::time_t> m_begin;
    std::optional<std::time_t> m_end;
};

} // namespace kinloom

#endif
