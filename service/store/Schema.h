// SPDX-License-Identifier: MIT
/// \file The tables of the database.
#ifndef KINLOOMD_STORE_SCHEMA_H
#define KINLOOMD_STORE_SCHEMA_H

namespace kinloomd {

class DatabaseConnection;

/// Brings an empty or older database to the present layout. Throws std::runtime_error for a newer one.
void prepareSchema(DatabaseConnection& connection);

} // namespace kinloomd

#endif
