// Thin RAII wrappers over libpq. Statements are prepared once per session
// and run with their parameters apart from the SQL text; rows come back in
// binary form, so bytes are returned exactly as they were stored.
#pragma once

#include "store/store.h"

#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct pg_conn;
struct pg_result;

namespace velmora::server::store {

// A parameter passed as raw bytes, for a bytea column.
struct Bytes {
    std::string_view data;
};

class PgResult {
public:
    explicit PgResult(pg_result* result) : result_(result) {}
    ~PgResult();
    PgResult(PgResult&& other) noexcept : result_(std::exchange(other.result_, nullptr)) {}
    PgResult(const PgResult&) = delete;
    PgResult& operator=(const PgResult&) = delete;
    PgResult& operator=(PgResult&&) = delete;

    [[nodiscard]] int rows() const;
    // Rows that an INSERT, UPDATE or DELETE touched.
    [[nodiscard]] int affected() const;
    // The command's tag, such as "COMMIT" or "ROLLBACK".
    [[nodiscard]] std::string status() const;
    // A bigint, integer or (in text form) any whole number.
    [[nodiscard]] std::int64_t integer(int row, int column) const;
    [[nodiscard]] std::string text(int row, int column) const;

private:
    pg_result* result_;
};

class PgConnection {
public:
    // Takes a libpq connection URI; throws StoreError with the server's reason.
    explicit PgConnection(const std::string& uri);
    ~PgConnection();
    PgConnection(const PgConnection&) = delete;
    PgConnection& operator=(const PgConnection&) = delete;

    // For fixed SQL text only.
    PgResult exec(const std::string& sql);
    // Prepares `sql` under `name`, now and after every reconnection.
    void prepare(const std::string& name, const std::string& sql);
    template <typename... Args> PgResult run(const std::string& name, const Args&... args) {
        std::array<Param, sizeof...(Args)> params{param(args)...};
        return execute(name, params.data(), params.size());
    }
    // Opens a new session after the connection was lost, if it was.
    void reconnectIfLost();

private:
    struct Param {
        std::string value;
        bool binary = false;
    };
    static Param param(std::string_view text) { return {std::string(text)}; }
    static Param param(std::int64_t number) { return {std::to_string(number)}; }
    static Param param(int number) { return {std::to_string(number)}; }
    static Param param(Bytes bytes) { return {std::string(bytes.data), true}; }

    PgResult execute(const std::string& name, const Param* params, std::size_t count);
    PgResult checked(pg_result* result, std::string_view what);
    void prepareAll();

    pg_conn* conn_ = nullptr;
    std::vector<std::pair<std::string, std::string>> prepared_;
};

} // namespace velmora::server::store
