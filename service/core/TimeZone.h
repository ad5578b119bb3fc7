// SPDX-License-Identifier: MIT
/// \file What clocks on walls show, and when.
#ifndef KINLOOMD_CORE_TIMEZONE_H
#define KINLOOMD_CORE_TIMEZONE_H

#include "core/Dates.h"

#include <memory>
#include <string>

namespace kinloomd {

/// A region whose clocks show the same time. Safe for several threads.
class TimeZone {
public:
    /// The zone of a name, such as "Europe/Berlin"; that of the system for an empty one. Throws std::runtime_error for a name that
    /// the system does not know.
    explicit TimeZone(const std::string& name = {});

    /// When a clock of the zone shows a time.
    /// \param wall what it shows, counted as if it were UTC. Of a time that it shows twice, when clocks are set back, the first is
    /// meant; one that it never shows, when they are set forward, counts as if they had not been yet.
    Millis whenClocksShow(Millis wall) const;
    /// How far clocks of the zone are ahead of UTC at a time.
    Millis offsetAt(Millis time) const;

private:
    std::shared_ptr<void> m_zone;
};

} // namespace kinloomd

#endif
