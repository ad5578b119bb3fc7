// SPDX-License-Identifier: MIT
/// \file How much of everything one person may have. What these functions throw names the limit in its sentence.
#ifndef KINLOOMD_OPERATIONS_ALLOWANCE_H
#define KINLOOMD_OPERATIONS_ALLOWANCE_H

#include "operations/Options.h"
#include "store/Database.h"
#include "store/Records.h"

namespace kinloomd {

/// Throws TOO_MANY_SLOTS when the person cannot reserve one more upload. Slots whose photo is there already make room for it.
/// Within a transaction.
void requireSlot(const Limits& limits, DatabaseConnection& connection, Id person);

/// Throws TOO_MANY_GROUPS when the person cannot have one more group. Within a transaction.
void requireGroup(const Limits& limits, DatabaseConnection& connection, Id person);

/// Whether a person whose contents take so many bytes can have so many more.
bool hasRoom(const Limits& limits, std::int64_t usedBytes, std::int64_t moreBytes);

/// Throws NO_ROOM when a person whose contents take so many bytes cannot have so many more.
void requireRoom(const Limits& limits, std::int64_t usedBytes, std::int64_t moreBytes);

} // namespace kinloomd

#endif
