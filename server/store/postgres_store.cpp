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
    const std::string userColumns = "SELECT id, name, hash, disabled, "
                                    "to_char(created AT TIME ZONE 'UTC', 'YYYY-MM-DD HH24:MI:SS') "
                                    "FROM users WHERE ";
    db.prepare("find_user", userColumns + kName + R"( = lower($1 COLLATE "C"))");
    db.prepare("list_users", userColumns + "strpos(" + kName +
                                 R"(, lower($1 COLLATE "C")) > 0 ORDER BY )" + kName +
                                 R"(, name COLLATE "C")");
    db.prepare("delete_user", "DELETE FROM users WHERE id = $1");
    db.prepare("set_disabled", "UPDATE users SET disabled = ($1::int <> 0) WHERE id = $2");
    const std::string target = R"(lower(target COLLATE "C"))";
    db.prepare("put_ban", "INSERT INTO bans (target, until, reason) VALUES ($1, $2, $3) "
                          "ON CONFLICT (" +
                              target +
                              ") DO UPDATE SET target = excluded.target, "
                              "until = excluded.until, reason = excluded.reason, created = now()");
    db.prepare("remove_ban", "DELETE FROM bans WHERE " + target + R"( = lower($1 COLLATE "C"))");
    const std::string banColumns =
        "SELECT target, until, reason, "
        "to_char(created AT TIME ZONE 'UTC', 'YYYY-MM-DD HH24:MI:SS') FROM bans WHERE ";
    db.prepare("ban_on",
               banColumns + target + R"( = lower($1 COLLATE "C") AND (until = 0 OR until > $2))");
    db.prepare("bans", banColumns + "until = 0 OR until > $1 ORDER BY created, target");
    db.prepare("retire", "INSERT INTO retired (name, until) VALUES ($1, $2) "
                         "ON CONFLICT (" +
                             kName + ") DO UPDATE SET until = excluded.until");
    db.prepare("is_retired", "SELECT 1 FROM retired WHERE " + kName +
                                 R"( = lower($1 COLLATE "C") AND until > $2)");
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

User userAt(const PgResult& rows, int row) {
    return {rows.integer(row, 0), rows.text(row, 1), rows.text(row, 2), rows.text(row, 3) == "t",
            rows.text(row, 4)};
}

std::vector<Ban> bansIn(const PgResult& rows) {
    std::vector<Ban> out;
    for (int row = 0; row < rows.rows(); ++row) {
        out.push_back(
            {rows.text(row, 0), rows.integer(row, 1), rows.text(row, 2), rows.text(row, 3)});
    }
    return out;
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
    return userAt(rows, 0);
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

std::vector<User> PostgresStore::listUsers(const std::string& query) {
    if (!isText(query)) {
        return {};
    }
    const auto rows = db().run("list_users", query);
    std::vector<User> out;
    for (int row = 0; row < rows.rows(); ++row) {
        out.push_back(userAt(rows, row));
    }
    return out;
}

void PostgresStore::deleteUser(UserId user) {
    change();
    db().run("delete_user", user);
}

void PostgresStore::setDisabled(UserId user, bool disabled) {
    change();
    db().run("set_disabled", disabled ? 1 : 0, user);
}

void PostgresStore::putBan(const Ban& ban) {
    change();
    db().run("put_ban", ban.target, ban.until, ban.reason);
}

bool PostgresStore::removeBan(const std::string& target) {
    change();
    return isText(target) && db().run("remove_ban", target).affected() > 0;
}

std::optional<Ban> PostgresStore::banOn(const std::string& target, std::int64_t now) {
    if (!isText(target)) {
        return std::nullopt;
    }
    auto found = bansIn(db().run("ban_on", target, now));
    return found.empty() ? std::nullopt : std::optional<Ban>(std::move(found.front()));
}

std::vector<Ban> PostgresStore::bans(std::int64_t now) {
    return bansIn(db().run("bans", now));
}

void PostgresStore::retireName(const std::string& name, std::int64_t until) {
    change();
    db().run("retire", name, until);
}

bool PostgresStore::isRetired(const std::string& name, std::int64_t now) {
    return isText(name) && db().run("is_retired", name, now).rows() > 0;
}

std::string PostgresStore::storeId() {
    const auto rows = db().run("store_id");
    return rows.rows() > 0 ? rows.text(0, 0) : std::string();
}

} // namespace velmora::server::store
