// SPDX-License-Identifier: MIT
#include "operations/Allowance.h"

#include "core/Failure.h"
#include "store/Contents.h"
#include "store/Groups.h"
#include "store/Trash.h"

#include <algorithm>

namespace kinloomd {

void requireSlot(const Limits& limits, DatabaseConnection& connection, Id person)
{
    if (countSlots(connection, person) < limits.slots)
        return;
    removeAnsweredSlots(connection, person);
    if (countSlots(connection, person) >= limits.slots)
        throw ServiceError(Failure::TOO_MANY_SLOTS, "You have " + std::to_string(limits.slots) +
                                                        " places for uploads open already, the most there can be. "
                                                        "Send what they are for, or wait until they are forgotten.");
}

void requireGroup(const Limits& limits, DatabaseConnection& connection, Id person)
{
    if (countGroups(connection, person) >= limits.groups)
        throw ServiceError(Failure::TOO_MANY_GROUPS, "You have " + std::to_string(limits.groups) +
                                                         " groups already, the most there can be. Delete one first.");
}

bool hasRoom(const Limits& limits, std::int64_t usedBytes, std::int64_t moreBytes)
{
    return limits.quotaBytes == 0 || moreBytes <= limits.quotaBytes - usedBytes;
}

void requireRoom(const Limits& limits, std::int64_t usedBytes, std::int64_t moreBytes)
{
    if (hasRoom(limits, usedBytes, moreBytes))
        return;
    const std::int64_t left = std::max<std::int64_t>(limits.quotaBytes - usedBytes, 0);
    throw ServiceError(Failure::NO_ROOM, "Your contents may take " + std::to_string(limits.quotaBytes) + " bytes together, and " +
                                             std::to_string(left) + " of them are left. Contents that you delete count for " +
                                             std::to_string(TRASH_TIME / DAY) + " days more.");
}

} // namespace kinloomd
