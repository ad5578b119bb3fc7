// SPDX-License-Identifier: MIT
#include "media/PhotoTime.h"

#include <string>

namespace kinloomd {

std::optional<Millis> timeTaken(const pictures::Exif& exif, const TimeZone& zone)
{
    std::string offset = exif.takenOffset;
    // Who changed or digitized the picture elsewhere noted another time with another offset; the same time is the camera's own.
    if (offset.empty() && exif.digitized == exif.taken)
        offset = exif.digitizedOffset;
    if (offset.empty() && exif.changed == exif.taken)
        offset = exif.changedOffset;
    return parsePhotoTime(exif.taken, exif.takenFraction, offset, zone);
}

} // namespace kinloomd
