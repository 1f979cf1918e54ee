#pragma once

#include "store/postgres.h"

namespace velmora::server::store {

// Brings the database up to the newest schema in one transaction, tracked in
// the table schema_version. Servers starting together take turns; a database
// written by a newer server is refused.
void migrate(PgConnection& db);

} // namespace velmora::server::store
