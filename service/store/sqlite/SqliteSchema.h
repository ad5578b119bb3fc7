// SPDX-License-Identifier: MIT
/// \file The tables of a database that SQLite keeps.
#ifndef KINLOOMD_STORE_SQLITE_SQLITESCHEMA_H
#define KINLOOMD_STORE_SQLITE_SQLITESCHEMA_H

namespace kinloomd {

class SqliteConnection;

/// Brings an empty or older database to the present layout. Throws std::runtime_error for a newer one.
void prepareSchema(SqliteConnection& connection);

} // namespace kinloomd

#endif
