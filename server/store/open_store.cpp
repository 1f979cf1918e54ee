#include "store/open_store.h"

#include "store/postgres_store.h"
#include "store/sqlite_store.h"

namespace velmora::server::store {

std::unique_ptr<Store> openStore(const std::string& db) {
    if (db.starts_with("postgresql://") || db.starts_with("postgres://")) {
        return std::make_unique<PostgresStore>(db);
    }
    return std::make_unique<SqliteStore>(db);
}

} // namespace velmora::server::store
