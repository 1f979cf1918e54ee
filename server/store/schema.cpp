#include "store/schema.h"

#include <array>
#include <string>
#include <string_view>

namespace velmora::server::store {

namespace {
// Step i brings the schema from version i to version i + 1. Append only.
constexpr std::array<std::string_view, 3> kSteps = {
    R"sql(
    CREATE TABLE users (
        id      INTEGER PRIMARY KEY,
        name    TEXT NOT NULL UNIQUE COLLATE NOCASE,
        hash    TEXT NOT NULL,
        created TEXT NOT NULL DEFAULT (datetime('now'))
    );
    CREATE TABLE buddies (
        id    INTEGER PRIMARY KEY,
        owner INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        buddy INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        UNIQUE (owner, buddy)
    );
    CREATE INDEX buddies_by_buddy ON buddies(buddy);
    CREATE TABLE offline (
        id        INTEGER PRIMARY KEY AUTOINCREMENT,
        recipient INTEGER NOT NULL REFERENCES users(id) ON DELETE CASCADE,
        sender    TEXT NOT NULL,
        body      TEXT NOT NULL,
        sent      TEXT NOT NULL
    );
    CREATE INDEX offline_by_recipient ON offline(recipient, id);
    )sql",
    // Message ids are numbers a client keeps: the token tells one database's
    // from another's (a new file starts its ids at 1 again).
    R"sql(
    CREATE TABLE meta (key TEXT PRIMARY KEY, value TEXT NOT NULL);
    INSERT INTO meta VALUES ('store-id', lower(hex(randomblob(8))));
    )sql",
    // The operator's tools: disabled accounts, bans on a name or an address
    // (its key: IPv4, or IPv6 /64) until a time (Unix seconds, 0 for ever),
    // and the names of deleted accounts, kept from new owners for a while.
    R"sql(
    ALTER TABLE users ADD COLUMN disabled INTEGER NOT NULL DEFAULT 0;
    CREATE TABLE bans (
        target  TEXT PRIMARY KEY COLLATE NOCASE,
        until   INTEGER NOT NULL,
        reason  TEXT NOT NULL,
        created TEXT NOT NULL DEFAULT (datetime('now'))
    );
    CREATE TABLE retired (
        name  TEXT PRIMARY KEY COLLATE NOCASE,
        until INTEGER NOT NULL
    );
    )sql",
};
} // namespace

int schemaVersion(Database& db) {
    Statement query(db.handle(), "PRAGMA user_version");
    return query.step() ? static_cast<int>(query.integer(0)) : 0;
}

void migrate(Database& db) {
    const int current = schemaVersion(db);
    if (current > static_cast<int>(kSteps.size())) {
        throw StoreError("database schema version " + std::to_string(current) +
                         " is newer than this server understands");
    }
    for (int version = current; version < static_cast<int>(kSteps.size()); ++version) {
        Transaction tx(db);
        db.exec(kSteps[static_cast<std::size_t>(version)]);
        db.exec("PRAGMA user_version = " + std::to_string(version + 1));
        tx.commit();
    }
}

} // namespace velmora::server::store
