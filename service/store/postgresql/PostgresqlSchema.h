// SPDX-License-Identifier: MIT
/// \file The tables of a database that PostgreSQL keeps.
#ifndef KINLOOMD_STORE_POSTGRESQL_POSTGRESQLSCHEMA_H
#define KINLOOMD_STORE_POSTGRESQL_POSTGRESQLSCHEMA_H

namespace kinloomd {

class PostgresqlConnection;

/// Brings an empty or older database to the present layout, while other processes may be about to do the same. Throws
/// std::runtime_error for a newer one.
void prepareSchema(PostgresqlConnection& connection);

} // namespace kinloomd

#endif
