// SPDX-License-Identifier: MIT
#include "operations/page/Calendar.h"

#include "core/Failure.h"
#include "store/Contents.h"

#include <algorithm>
#include <limits>

namespace kinloomd {

std::vector<Month> monthsOf(DatabaseConnection& connection, Id group, const TimeZone& zone)
{
    std::vector<Month> months;
    Millis before = std::numeric_limits<Millis>::max();
    while (const auto newest = newestBefore(connection, group, before)) {
        const Millis wall = *newest + zone.offsetAt(*newest);
        const Millis from = std::min(zone.whenClocksShow(beginOfMonth(wall)), *newest);
        months.push_back({monthOf(wall), countBetween(connection, group, from, before)});
        before = from;
    }
    return months;
}

MonthRange requireMonth(std::string_view name, const TimeZone& zone)
{
    const auto wall = parseMonth(name);
    if (!wall)
        throw ServiceError(Failure::BAD_PARAMETER, "The month is none; one looks like 2010-05.");
    return {zone.whenClocksShow(*wall), zone.whenClocksShow(endOfMonth(*wall))};
}

} // namespace kinloomd
