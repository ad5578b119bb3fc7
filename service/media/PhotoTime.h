// SPDX-License-Identifier: MIT
/// \file When photographs were taken.
#ifndef KINLOOMD_MEDIA_PHOTOTIME_H
#define KINLOOMD_MEDIA_PHOTOTIME_H

#include "core/Dates.h"
#include "core/TimeZone.h"
#include "pictures/Exif.h"

#include <optional>

namespace kinloomd {

/// When a photograph was taken: what the camera's clock showed, with the offset noted for that time. Where there is none, that
/// of another time in the block counts if it is the same time; without any, the clock was of the given zone.
std::optional<Millis> timeTaken(const pictures::Exif& exif, const TimeZone& zone);

} // namespace kinloomd

#endif
