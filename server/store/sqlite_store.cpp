#include "store/sqlite_store.h"

#include "store/schema.h"

namespace velmora::server::store {

struct SqliteStore::Statements {
    explicit Statements(sqlite3* db)
        : insertUser(db, "INSERT OR IGNORE INTO users (name, hash) VALUES (?, ?)"),
          findUser(db, "SELECT id, name, hash FROM users WHERE name = ?"),
          search(db, "SELECT name FROM users WHERE instr(lower(name), lower(?)) > 0 "
                     "ORDER BY name COLLATE NOCASE, name LIMIT ?"),
          buddies(db, "SELECT u.name FROM buddies b JOIN users u ON u.id = b.buddy "
                      "WHERE b.owner = ? ORDER BY b.id"),
          addBuddy(db, "INSERT OR IGNORE INTO buddies (owner, buddy) VALUES (?, ?)"),
          removeBuddy(db, "DELETE FROM buddies WHERE owner = ? AND buddy = ?"),
          watchers(db, "SELECT u.name FROM buddies b JOIN users u ON u.id = b.owner "
                       "WHERE b.buddy = ? ORDER BY b.id"),
          addOffline(db, "INSERT INTO offline (recipient, sender, body, sent) VALUES (?, ?, ?, ?)"),
          countOffline(db, "SELECT count(*) FROM offline WHERE recipient = ?"),
          offline(db, "SELECT id, sender, body, sent FROM offline WHERE recipient = ? AND id > ? "
                      "ORDER BY id LIMIT ?"),
          setHash(db, "UPDATE users SET hash = ? WHERE id = ?"),
          removeOffline(db, "DELETE FROM offline WHERE id = ?"),
          removeOfflineOf(db, "DELETE FROM offline WHERE id = ? AND recipient = ?") {}

    Statement insertUser, findUser, search, buddies, addBuddy, removeBuddy, watchers, addOffline,
        countOffline, offline, setHash, removeOffline, removeOfflineOf;
};

namespace {
Database& configured(Database& db) {
    db.exec("PRAGMA journal_mode = WAL");
    // FULL syncs the WAL on every commit: a stored offline message survives a
    // crash of the host, not only of the server.
    db.exec("PRAGMA synchronous = FULL");
    db.exec("PRAGMA foreign_keys = ON");
    migrate(db);
    return db;
}

std::vector<std::string> names(Statement& query) {
    std::vector<std::string> out;
    while (query.step()) {
        out.push_back(query.text(0));
    }
    return out;
}
} // namespace

SqliteStore::SqliteStore(const std::string& path)
    : db_(path), sql_(std::make_unique<Statements>(configured(db_).handle())) {}

SqliteStore::~SqliteStore() {
    commitQuietly();
}

void SqliteStore::begin() {
    db_.exec("BEGIN IMMEDIATE");
}

void SqliteStore::end() {
    db_.exec("COMMIT");
}

void SqliteStore::rollback() noexcept {
    try {
        db_.exec("ROLLBACK");
    } catch (...) { // already rolled back by SQLite
    }
}

bool SqliteStore::addUser(const std::string& name, const std::string& hash) {
    change();
    sql_->insertUser.bind(name, hash).run();
    return db_.changes() == 1;
}

std::optional<User> SqliteStore::findUser(const std::string& name) {
    auto& q = sql_->findUser.bind(name);
    if (!q.step()) {
        return std::nullopt;
    }
    User user{q.integer(0), q.text(1), q.text(2)};
    while (q.step()) {
    }
    return user;
}

std::vector<std::string> SqliteStore::searchUsers(const std::string& query, int limit) {
    return names(sql_->search.bind(query, limit));
}

std::vector<std::string> SqliteStore::buddies(UserId owner) {
    return names(sql_->buddies.bind(owner));
}

bool SqliteStore::addBuddy(UserId owner, UserId buddy) {
    change();
    sql_->addBuddy.bind(owner, buddy).run();
    return db_.changes() == 1;
}

void SqliteStore::removeBuddy(UserId owner, UserId buddy) {
    change();
    sql_->removeBuddy.bind(owner, buddy).run();
}

std::vector<std::string> SqliteStore::watchers(UserId buddy) {
    return names(sql_->watchers.bind(buddy));
}

std::int64_t SqliteStore::addOffline(UserId recipient, const std::string& sender,
                                     const std::string& body, const std::string& sent) {
    change();
    sql_->addOffline.bind(recipient, sender, body, sent).run();
    return db_.lastInsertId();
}

int SqliteStore::offlineCount(UserId recipient) {
    auto& q = sql_->countOffline.bind(recipient);
    const int count = q.step() ? static_cast<int>(q.integer(0)) : 0;
    while (q.step()) {
    }
    return count;
}

void SqliteStore::setHash(UserId user, const std::string& hash) {
    change();
    sql_->setHash.bind(hash, user).run();
}

std::vector<OfflineMessage> SqliteStore::offline(UserId recipient, std::int64_t after, int limit) {
    std::vector<OfflineMessage> out;
    auto& q = sql_->offline.bind(recipient, after, limit);
    while (q.step()) {
        out.push_back({q.integer(0), q.text(1), q.text(2), q.text(3)});
    }
    return out;
}

void SqliteStore::removeOffline(const std::vector<std::int64_t>& ids) {
    change();
    for (const auto id : ids) {
        sql_->removeOffline.bind(id).run();
    }
}

void SqliteStore::removeOfflineOf(UserId recipient, const std::vector<std::int64_t>& ids) {
    change();
    for (const auto id : ids) {
        sql_->removeOfflineOf.bind(id, recipient).run();
    }
}

std::string SqliteStore::storeId() {
    Statement query(db_.handle(), "SELECT value FROM meta WHERE key = 'store-id'");
    return query.step() ? query.text(0) : std::string();
}

} // namespace velmora::server::store
