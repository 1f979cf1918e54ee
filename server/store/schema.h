#pragma once

#include "store/sqlite.h"

namespace velmora::server::store {

// Brings the database up to the newest schema, one step per version, tracked
// in PRAGMA user_version. Refuses a database written by a newer server.
void migrate(Database& db);

[[nodiscard]] int schemaVersion(Database& db);

} // namespace velmora::server::store
