#pragma once

#include "store/store.h"

namespace velmora::server::store {

// A postgresql:// or postgres:// URI opens PostgreSQL; anything else is the
// path of a SQLite file. Either way the schema is brought up to date.
[[nodiscard]] std::unique_ptr<Store> openStore(const std::string& db);

// The same with any password in it hidden, for the log.
[[nodiscard]] std::string withoutPassword(std::string db);

} // namespace velmora::server::store
