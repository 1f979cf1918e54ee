// A consistent copy of a SQLite store, running server or not: SQLite's
// online backup reads the file as one snapshot while the server writes.
#pragma once

#include <string>

namespace velmora::server::admin {

// Copies the database at `db` to `file` (replaced as a whole once the copy
// is complete); returns the number of pages copied. Throws with the reason.
int backupSqlite(const std::string& db, const std::string& file);

} // namespace velmora::server::admin
