// SPDX-License-Identifier: MIT
/// \file The months in which a group's contents were made.
#ifndef KINLOOMD_OPERATIONS_PAGE_CALENDAR_H
#define KINLOOMD_OPERATIONS_PAGE_CALENDAR_H

#include "core/TimeZone.h"
#include "store/Database.h"
#include "store/Records.h"

#include <string>
#include <vector>

namespace kinloomd {

/// A month, as clocks of a zone show it, with contents in it.
struct Month {
    std::string name; ///< "2010-05"
    std::int64_t count = 0;
};

/// The months of a group that have contents, the newest first.
std::vector<Month> monthsOf(DatabaseConnection& connection, Id group, const TimeZone& zone);

/// When a month begins, and when the one after it does.
struct MonthRange {
    Millis from = 0;
    Millis before = 0;
};
/// The month of a name, "2010-05". Throws BAD_PARAMETER for what is none.
MonthRange requireMonth(std::string_view name, const TimeZone& zone);

} // namespace kinloomd

#endif
