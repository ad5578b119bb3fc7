// SPDX-License-Identifier: MIT
#include "core/TimeZone.h"

#include <glib.h>
#include <stdexcept>
#include <sys/stat.h>

namespace kinloomd {

namespace {

constexpr Millis CLOCK_DAY = 86'400'000;

/// A name of the system's table. The library takes descriptions of zones and paths of files as well, which nobody means who writes
/// "UTC+5": it is west of Greenwich.
bool isName(const std::string& name)
{
    constexpr const char* TABLE = "/usr/share/zoneinfo/";
    struct stat info {};
    return name == "UTC" || (name.front() != '/' && name.find("..") == std::string::npos &&
                             ::stat((TABLE + name).c_str(), &info) == 0 && S_ISREG(info.st_mode));
}

GTimeZone* newZone(const std::string& name)
{
    if (name.empty())
        return g_time_zone_new_local();
    return isName(name) ? g_time_zone_new_identifier(name.c_str()) : nullptr;
}

GTimeZone* handleOf(const std::shared_ptr<void>& zone) { return static_cast<GTimeZone*>(zone.get()); }

} // namespace

TimeZone::TimeZone(const std::string& name)
    : m_zone(newZone(name), [](void* zone) {
          if (zone != nullptr)
              g_time_zone_unref(static_cast<GTimeZone*>(zone));
      })
{
    if (!m_zone)
        throw std::runtime_error("there is no time zone '" + name + "' on this system; they have names such as Europe/Berlin");
}

Millis TimeZone::offsetAt(Millis time) const
{
    const Millis seconds = time >= 0 ? time / 1000 : (time - 999) / 1000;
    const int interval = g_time_zone_find_interval(handleOf(m_zone), G_TIME_TYPE_UNIVERSAL, seconds);
    return interval < 0 ? 0 : Millis{1000} * g_time_zone_get_offset(handleOf(m_zone), interval);
}

Millis TimeZone::whenClocksShow(Millis wall) const
{
    // No zone is more than a day off, and none is changed twice within two days: one of these offsets is in force then.
    const Millis before = wall - offsetAt(wall - CLOCK_DAY);
    const Millis after = wall - offsetAt(wall + CLOCK_DAY);
    if (before + offsetAt(before) == wall)
        return before;
    return after + offsetAt(after) == wall ? after : before;
}

} // namespace kinloomd
