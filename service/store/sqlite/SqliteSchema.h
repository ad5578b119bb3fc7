// SPDX-License-Identifier: MIT
/// \file The tables of a database that SQLite keeps.
#ifndef KINLOOMD_STORE_SQLITE_SQLITESCHEMA_H
#define KINLOOMD_STORE_SQLITE_SQLITESCHEMA_H

#include "store/SchemaSteps.h"

namespace kinloomd {

class SqliteConnection;

const SchemaSteps& sqliteSteps();

/// Brings an empty or older database to the layout of these steps. Throws std::runtime_error for a newer one that programs which
/// know these steps do not understand.
void prepareSchema(SqliteConnection& connection, const SchemaSteps& steps = sqliteSteps());

} // namespace kinloomd

#endif
