// SPDX-License-Identifier: MIT
/// \file The tables of the database.
#ifndef KINLOOMD_STORE_SCHEMA_H
#define KINLOOMD_STORE_SCHEMA_H

namespace kinloomd {

class Connection;

/// Brings an empty or older database to the present layout. Throws std::runtime_error for a newer one.
void prepareSchema(Connection& connection);

} // namespace kinloomd

#endif
