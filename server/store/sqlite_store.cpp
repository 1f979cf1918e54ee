#include "store/sqlite_store.h"

#include "store/schema.h"

namespace velmora::server::store {

struct SqliteStore::Statements {
    explicit Statements(sqlite3* db)
        : insertUser(db, "INSERT OR IGNORE INTO users (name, hash) VALUES (?, ?)"),
          findUser(db, "SELECT id, name, hash, disabled, created FROM users WHERE name = ?"),
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
          removeOfflineOf(db, "DELETE FROM offline WHERE id = ? AND recipient = ?"),
          listUsers(db,
                    "SELECT id, name, hash, disabled, created FROM users "
                    "WHERE instr(lower(name), lower(?)) > 0 ORDER BY name COLLATE NOCASE, name"),
          deleteUser(db, "DELETE FROM users WHERE id = ?"),
          setDisabled(db, "UPDATE users SET disabled = ? WHERE id = ?"),
          putBan(db, "INSERT OR REPLACE INTO bans (target, until, reason) VALUES (?, ?, ?)"),
          removeBan(db, "DELETE FROM bans WHERE target = ?"),
          banOn(db, "SELECT target, until, reason, created FROM bans "
                    "WHERE target = ? AND (until = 0 OR until > ?)"),
          bans(db, "SELECT target, until, reason, created FROM bans "
                   "WHERE until = 0 OR until > ? ORDER BY created, target"),
          retire(db, "INSERT OR REPLACE INTO retired (name, until) VALUES (?, ?)"),
          isRetired(db, "SELECT 1 FROM retired WHERE name = ? AND until > ?") {}

    Statement insertUser, findUser, search, buddies, addBuddy, removeBuddy, watchers, addOffline,
        countOffline, offline, setHash, removeOffline, removeOfflineOf, listUsers, deleteUser,
        setDisabled, putBan, removeBan, banOn, bans, retire, isRetired;
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

User user(const Statement& q) {
    return {q.integer(0), q.text(1), q.text(2), q.integer(3) != 0, q.text(4)};
}

Ban ban(const Statement& q) {
    return {q.text(0), q.integer(1), q.text(2), q.text(3)};
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
    User found = user(q);
    while (q.step()) {
    }
    return found;
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

std::vector<User> SqliteStore::listUsers(const std::string& query) {
    std::vector<User> out;
    auto& q = sql_->listUsers.bind(query);
    while (q.step()) {
        out.push_back(user(q));
    }
    return out;
}

void SqliteStore::deleteUser(UserId id) {
    change();
    sql_->deleteUser.bind(id).run();
}

void SqliteStore::setDisabled(UserId id, bool disabled) {
    change();
    sql_->setDisabled.bind(disabled ? 1 : 0, id).run();
}

void SqliteStore::putBan(const Ban& b) {
    change();
    sql_->putBan.bind(b.target, b.until, b.reason).run();
}

bool SqliteStore::removeBan(const std::string& target) {
    change();
    sql_->removeBan.bind(target).run();
    return db_.changes() > 0;
}

std::optional<Ban> SqliteStore::banOn(const std::string& target, std::int64_t now) {
    auto& q = sql_->banOn.bind(target, now);
    std::optional<Ban> found;
    while (q.step()) {
        found = ban(q);
    }
    return found;
}

std::vector<Ban> SqliteStore::bans(std::int64_t now) {
    std::vector<Ban> out;
    auto& q = sql_->bans.bind(now);
    while (q.step()) {
        out.push_back(ban(q));
    }
    return out;
}

void SqliteStore::retireName(const std::string& name, std::int64_t until) {
    change();
    sql_->retire.bind(name, until).run();
}

bool SqliteStore::isRetired(const std::string& name, std::int64_t now) {
    auto& q = sql_->isRetired.bind(name, now);
    bool found = false;
    while (q.step()) {
        found = true;
    }
    return found;
}

std::string SqliteStore::storeId() {
    Statement query(db_.handle(), "SELECT value FROM meta WHERE key = 'store-id'");
    return query.step() ? query.text(0) : std::string();
}

} // namespace velmora::server::store
