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

std::string withoutPassword(std::string db) {
    const auto user = db.find("://");
    const auto at = db.find('@');
    if (const auto colon = db.find(':', user + 3);
        user != std::string::npos && at != std::string::npos && colon < at) {
        db.replace(colon + 1, at - colon - 1, "***");
    }
    if (const auto password = db.find("password="); password != std::string::npos) {
        db.replace(password + 9, db.find('&', password) - password - 9, "***");
    }
    return db;
}

} // namespace velmora::server::store
