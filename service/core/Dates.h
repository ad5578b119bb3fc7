// SPDX-License-Identifier: MIT
/// \file Points in time, to the millisecond.
#ifndef KINLOOMD_CORE_DATES_H
#define KINLOOMD_CORE_DATES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kinloomd {

/// Milliseconds since 1970-01-01T00:00:00Z.
using Millis = std::int64_t;

/// The present.
Millis now();

/// The time in UTC as RFC 3339 writes it: "2010-05-05T07:04:09Z", with three digits of a fraction when there is one.
std::string formatTime(Millis time);

/// The same time as clocks show it that are so far ahead of UTC: "2010-05-05T09:04:09+02:00". Offsets are whole minutes.
std::string formatTime(Millis time, Millis offset);
/// "+02:00"
std::string formatOffset(Millis offset);

// Months of a calendar, as clocks show them: times here count what a clock shows as if it were UTC.

/// "2010-05"
std::string monthOf(Millis wall);
/// When the month of a time begins, and when the one after it does.
Millis beginOfMonth(Millis wall);
Millis endOfMonth(Millis wall);
/// When a month begins that is written as "2010-05".
std::optional<Millis> parseMonth(std::string_view text);

/// A time as archives note it: in the upper half the date, in the lower half the time of day.
std::uint32_t dosTime(Millis wall);

/// Reads an RFC 3339 date-time, or a date alone (midnight). A blank may stand in place of the "T", and in place of the "+" of an
/// offset, since a form-encoded plus sign that a client forgot to encode arrives as a blank. No zone means UTC. Fractions finer
/// than a millisecond are cut off. A time whose year in UTC is not one of 0000 to 9999 cannot be read, since it could not be
/// written.
std::optional<Millis> parseTime(std::string_view text);

class TimeZone;

/// Reads the date of a photograph, "2010:05:05 07:04:09": what a clock showed where it was taken.
/// \param subseconds the digits behind the seconds, as some cameras write them beside it ("25"); what is none is passed over
/// \param offset from UTC, as some cameras write it beside it ("+02:00"); without one, or a malformed one, the clock was of the
/// zone
std::optional<Millis> parsePhotoTime(std::string_view text, std::string_view subseconds, std::string_view offset,
                                     const TimeZone& zone);

} // namespace kinloomd

#endif
