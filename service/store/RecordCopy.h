// SPDX-License-Identifier: MIT
/// \file Records copied from one database to another, whichever engines keep them, as they are: numbers, secrets and times too.
/// Nobody else may change either of them meanwhile (store/Moving.h).
#ifndef KINLOOMD_STORE_RECORDCOPY_H
#define KINLOOMD_STORE_RECORDCOPY_H

#include "store/Database.h"
#include "store/Moving.h"
#include "store/Tables.h"

#include <cstdint>
#include <functional>
#include <string>

namespace kinloomd {

/// Called between two steps of a move, on any thread, with what is being done and how much of it is done. What it throws ends the
/// move, which can be gone on with.
using MoveStep = std::function<void(const char* what, std::int64_t done)>;

/// What a table holds.
struct TableSum {
    std::int64_t rows = 0;
    std::int64_t lastNumber = 0; ///< that it has given to a row
    std::string digest;          ///< of all rows in the order of their keys
    std::int64_t repaired = 0;   ///< texts that hold bytes which are no text

    bool operator==(const TableSum& other) const
    {
        return rows == other.rows && lastNumber == other.lastNumber && digest == other.digest;
    }
    bool operator!=(const TableSum& other) const { return !(*this == other); }
};

/// Reads a whole table, part by part. Settings that tell of the place where records are, and not of the service, are left out.
TableSum sumOf(Database& database, const TableEntry& table, const MoveStep& step);

/// Copies the rows of a table that have not come yet: those behind the last one that has. Bytes that are no text, which an older
/// service has taken, become U+FFFD. Throws std::runtime_error when the target has another mark, before it changes anything behind
/// that one. \param mark the target's \return how many came
std::int64_t copyTable(Database& from, Database& to, const TableEntry& table, const MoveMark& mark, const MoveStep& step);

/// \return whether there is no record at all, and no setting but those of the place.
bool isWithoutRecords(Database& database);

/// Removes all records but the settings of the place. Throws std::runtime_error when they have another mark, as copyTable does.
void removeRecords(Database& database, const MoveMark& mark, const MoveStep& step);

} // namespace kinloomd

#endif
