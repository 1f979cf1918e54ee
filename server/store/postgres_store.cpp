#include "store/postgres_store.h"

#include "store/postgres_schema.h"

namespace velmora::server::store {

namespace {
// Names compare as the SQLite file compares them: ASCII letters fold, the
// rest is taken byte for byte.
const std::string kName = R"(lower(name COLLATE "C"))";

PgConnection& prepared(PgConnection& db) {
    migrate(db);
    db.prepare("insert_user", "INSERT INTO users (name, hash) VALUES ($1, $2) "
                              "ON CONFLICT DO NOTHING");
    db.prepare("find_user",
               "SELECT id, name, hash FROM users WHERE " + kName + R"( = lower($1 COLLATE "C"))");
    db.prepare("search", "SELECT name FROM users WHERE strpos(" + kName +
                             R"(, lower($1 COLLATE "C")) > 0 ORDER BY )" + kName +
                             R"(, name COLLATE "C" LIMIT $2)");
    db.prepare("buddies", "SELECT u.name FROM buddies b JOIN users u ON u.id = b.buddy "
                          "WHERE b.owner = $1 ORDER BY b.id");
    db.prepare("add_buddy", "INSERT INTO buddies (owner, buddy) VALUES ($1, $2) "
                            "ON CONFLICT DO NOTHING");
    db.prepare("remove_buddy", "DELETE FROM buddies WHERE owner = $1 AND buddy = $2");
    db.prepare("watchers", "SELECT u.name FROM buddies b JOIN users u ON u.id = b.owner "
                           "WHERE b.buddy = $1 ORDER BY b.id");
    db.prepare("add_offline", "INSERT INTO offline (recipient, sender, body, sent) "
                              "VALUES ($1, $2, $3, $4) RETURNING id");
    db.prepare("count_offline", "SELECT count(*) FROM offline WHERE recipient = $1");
    db.prepare("offline", "SELECT id, sender, body, sent FROM offline "
                          "WHERE recipient = $1 AND id > $2 ORDER BY id LIMIT $3");
    db.prepare("set_hash", "UPDATE users SET hash = $1 WHERE id = $2");
    db.prepare("remove_offline", "DELETE FROM offline WHERE id = ANY($1::bigint[])");
    db.prepare("remove_offline_of",
               "DELETE FROM offline WHERE id = ANY($1::bigint[]) AND recipient = $2");
    db.prepare("store_id", "SELECT value FROM meta WHERE key = 'store-id'");
    return db;
}

// Whether PostgreSQL text can hold these bytes: UTF-8 without NUL. Other
// bytes cannot be part of a stored name, and as a parameter they fail the
// statement (and with it the open transaction), so they are not sent.
bool isText(std::string_view s) {
    for (std::size_t i = 0; i < s.size();) {
        const auto lead = static_cast<unsigned char>(s[i]);
        const std::size_t length = lead == 0     ? 0
                                   : lead < 0x80 ? 1
                                   : lead < 0xc2 ? 0
                                   : lead < 0xe0 ? 2
                                   : lead < 0xf0 ? 3
                                   : lead < 0xf5 ? 4
                                                 : 0;
        if (length == 0 || i + length > s.size()) {
            return false;
        }
        const auto second = length > 1 ? static_cast<unsigned char>(s[i + 1]) : 0x80;
        if ((lead == 0xe0 && second < 0xa0) || (lead == 0xed && second >= 0xa0) ||
            (lead == 0xf0 && second < 0x90) || (lead == 0xf4 && second >= 0x90)) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(s[i + k]) & 0xc0) != 0x80) {
                return false;
            }
        }
        i += length;
    }
    return true;
}

std::vector<std::string> names(const PgResult& rows) {
    std::vector<std::string> out;
    out.reserve(static_cast<std::size_t>(rows.rows()));
    for (int row = 0; row < rows.rows(); ++row) {
        out.push_back(rows.text(row, 0));
    }
    return out;
}
} // namespace

PostgresStore::PostgresStore(const std::string& uri) : db_(uri) {
    prepared(db_);
}

PostgresStore::~PostgresStore() {
    commitQuietly();
}

PgConnection& PostgresStore::db() {
    if (!inTransaction()) {
        db_.reconnectIfLost();
    }
    return db_;
}

void PostgresStore::begin() {
    db().exec("BEGIN");
}

void PostgresStore::end() {
    // After a failed statement PostgreSQL answers COMMIT with a rollback.
    if (db_.exec("COMMIT").status() != "COMMIT") {
        throw StoreError("PostgreSQL: a change failed, this turn's changes were rolled back");
    }
}

void PostgresStore::rollback() noexcept {
    try {
        db_.exec("ROLLBACK");
    } catch (const StoreError&) { // the connection is gone, and the transaction with it
    }
}

bool PostgresStore::addUser(const std::string& name, const std::string& hash) {
    change();
    return db().run("insert_user", name, hash).affected() == 1;
}

std::optional<User> PostgresStore::findUser(const std::string& name) {
    if (!isText(name)) {
        return std::nullopt;
    }
    const auto rows = db().run("find_user", name);
    if (rows.rows() == 0) {
        return std::nullopt;
    }
    return User{rows.integer(0, 0), rows.text(0, 1), rows.text(0, 2)};
}

void PostgresStore::setHash(UserId user, const std::string& hash) {
    change();
    db().run("set_hash", hash, user);
}

std::vector<std::string> PostgresStore::searchUsers(const std::string& query, int limit) {
    if (!isText(query)) {
        return {};
    }
    return names(db().run("search", query, limit));
}

std::vector<std::string> PostgresStore::buddies(UserId owner) {
    return names(db().run("buddies", owner));
}

bool PostgresStore::addBuddy(UserId owner, UserId buddy) {
    change();
    return db().run("add_buddy", owner, buddy).affected() == 1;
}

void PostgresStore::removeBuddy(UserId owner, UserId buddy) {
    change();
    db().run("remove_buddy", owner, buddy);
}

std::vector<std::string> PostgresStore::watchers(UserId buddy) {
    return names(db().run("watchers", buddy));
}

std::int64_t PostgresStore::addOffline(UserId recipient, const std::string& sender,
                                       const std::string& body, const std::string& sent) {
    change();
    return db().run("add_offline", recipient, sender, Bytes{body}, sent).integer(0, 0);
}

int PostgresStore::offlineCount(UserId recipient) {
    return static_cast<int>(db().run("count_offline", recipient).integer(0, 0));
}

std::vector<OfflineMessage> PostgresStore::offline(UserId recipient, std::int64_t after,
                                                   int limit) {
    const auto rows = db().run("offline", recipient, after, limit);
    std::vector<OfflineMessage> out;
    for (int row = 0; row < rows.rows(); ++row) {
        out.push_back(
            {rows.integer(row, 0), rows.text(row, 1), rows.text(row, 2), rows.text(row, 3)});
    }
    return out;
}

namespace {
// A bigint[] literal.
std::string idArray(const std::vector<std::int64_t>& ids) {
    std::string list = "{";
    for (const auto id : ids) {
        list += std::to_string(id) + ",";
    }
    list.back() = '}';
    return list;
}
} // namespace

void PostgresStore::removeOffline(const std::vector<std::int64_t>& ids) {
    change();
    if (!ids.empty()) {
        db().run("remove_offline", idArray(ids));
    }
}

void PostgresStore::removeOfflineOf(UserId recipient, const std::vector<std::int64_t>& ids) {
    change();
    if (!ids.empty()) {
        db().run("remove_offline_of", idArray(ids), recipient);
    }
}

std::string PostgresStore::storeId() {
    const auto rows = db().run("store_id");
    return rows.rows() > 0 ? rows.text(0, 0) : std::string();
}

} // namespace velmora::server::store
