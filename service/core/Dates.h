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

/// Reads an RFC 3339 date-time, or a date alone (midnight). A blank may stand in place of the "T", and in place of the "+" of an
/// offset, since a form-encoded plus sign that a client forgot to encode arrives as a blank. No zone means UTC. Fractions finer
/// than a millisecond are cut off. A time whose year in UTC is not one of 0000 to 9999 cannot be read, since it could not be
/// written.
std::optional<Millis> parseTime(std::string_view text);

/// Reads the date of a photograph, "2010:05:05 07:04:09", with the offset that some cameras write beside it ("+02:00"), else UTC.
std::optional<Millis> parsePhotoTime(std::string_view text, std::string_view offset);

} // namespace kinloomd

#endif
