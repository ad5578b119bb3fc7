// SPDX-License-Identifier: MIT
/// \file The tables of a database that PostgreSQL keeps.
#ifndef KINLOOMD_STORE_POSTGRESQL_POSTGRESQLSCHEMA_H
#define KINLOOMD_STORE_POSTGRESQL_POSTGRESQLSCHEMA_H

#include "store/SchemaSteps.h"

namespace kinloomd {

class PostgresqlConnection;

const SchemaSteps& postgresqlSteps();

/// Brings an empty or older database to the layout of these steps, while other processes may be about to do the same, or use it.
/// Throws std::runtime_error for a newer one that programs which know these steps do not understand.
void prepareSchema(PostgresqlConnection& connection, const SchemaSteps& steps = postgresqlSteps());

} // namespace kinloomd

#endif
