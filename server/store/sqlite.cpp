#include "store/sqlite.h"

#include <sqlite3.h>

namespace velmora::server::store {

namespace {
[[noreturn]] void fail(sqlite3* db, std::string_view what) {
    throw StoreError(std::string(what) + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
}
} // namespace

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
    if (sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                           &stmt_, nullptr) != SQLITE_OK) {
        fail(db, "prepare");
    }
}

Statement::~Statement() {
    sqlite3_finalize(stmt_);
}

void Statement::reset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
}

void Statement::bindOne(int index, std::string_view value) {
    if (sqlite3_bind_text(stmt_, index, value.data(), static_cast<int>(value.size()),
                          SQLITE_TRANSIENT) != SQLITE_OK) {
        fail(db_, "bind");
    }
}

void Statement::bindOne(int index, std::int64_t value) {
    if (sqlite3_bind_int64(stmt_, index, value) != SQLITE_OK) {
        fail(db_, "bind");
    }
}

bool Statement::step() {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) {
        return true;
    }
    if (rc == SQLITE_DONE) {
        return false;
    }
    const std::string message = sqlite3_errmsg(db_);
    sqlite3_reset(stmt_);
    throw StoreError("step: " + message);
}

void Statement::run() {
    while (step()) {
    }
}

std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(stmt_, column);
}

std::string Statement::text(int column) const {
    const auto* bytes = sqlite3_column_text(stmt_, column);
    const int size = sqlite3_column_bytes(stmt_, column);
    return bytes ? std::string(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size))
                 : std::string();
}

Database::Database(const std::string& path) {
    if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
        const std::string message = db_ ? sqlite3_errmsg(db_) : "out of memory";
        sqlite3_close(db_);
        throw StoreError("cannot open " + path + ": " + message);
    }
    sqlite3_busy_timeout(db_, 5000);
}

Database::~Database() {
    sqlite3_close_v2(db_);
}

void Database::exec(std::string_view sql) {
    char* error = nullptr;
    if (sqlite3_exec(db_, std::string(sql).c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : "unknown error";
        sqlite3_free(error);
        throw StoreError("exec: " + message);
    }
}

std::int64_t Database::lastInsertId() const {
    return sqlite3_last_insert_rowid(db_);
}

int Database::changes() const {
    return sqlite3_changes(db_);
}

Transaction::Transaction(Database& db) : db_(db) {
    db_.exec("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
    if (!done_) {
        try {
            db_.exec("ROLLBACK");
        } catch (const StoreError&) {
            // A failed rollback leaves SQLite to roll back on its own.
        }
    }
}

void Transaction::commit() {
    db_.exec("COMMIT");
    done_ = true;
}

} // namespace velmora::server::store
