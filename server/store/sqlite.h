// Thin RAII wrappers over the SQLite C API. Every statement is prepared with
// bound parameters; nothing is ever spliced into SQL text.
#pragma once

#include "store/store.h"

#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace velmora::server::store {

class Statement {
public:
    Statement(sqlite3* db, std::string_view sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Binds parameters 1..n in order; the statement is reset first.
    template <typename... Args> Statement& bind(const Args&... args) {
        reset();
        int index = 0;
        (bindOne(++index, args), ...);
        return *this;
    }

    // Advances to the next row; false when done.
    [[nodiscard]] bool step();
    // Runs a statement that yields no rows.
    void run();

    [[nodiscard]] std::int64_t integer(int column) const;
    [[nodiscard]] std::string text(int column) const;

private:
    void reset();
    void bindOne(int index, std::string_view value);
    void bindOne(int index, std::int64_t value);
    void bindOne(int index, int value) { bindOne(index, static_cast<std::int64_t>(value)); }

    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

class Database {
public:
    explicit Database(const std::string& path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // For fixed schema text only.
    void exec(std::string_view sql);
    [[nodiscard]] sqlite3* handle() const { return db_; }
    [[nodiscard]] std::int64_t lastInsertId() const;
    [[nodiscard]] int changes() const;

private:
    sqlite3* db_ = nullptr;
};

// Commits on commit(); rolls back when left without it.
class Transaction {
public:
    explicit Transaction(Database& db);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

private:
    Database& db_;
    bool done_ = false;
};

} // namespace velmora::server::store
