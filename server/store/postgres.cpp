#include "store/postgres.h"

#include <libpq-fe.h>

#include <cstring>

namespace velmora::server::store {

namespace {
// libpq's message on one line: its line breaks and tabs become spaces.
std::string reason(const char* message) {
    std::string text;
    for (const char* c = message && *message ? message : "unknown error"; *c; ++c) {
        const bool space = *c == '\n' || *c == '\t' || *c == ' ';
        if (!space || (!text.empty() && text.back() != ' ')) {
            text += space ? ' ' : *c;
        }
    }
    if (!text.empty() && text.back() == ' ') {
        text.pop_back();
    }
    return text;
}
} // namespace

PgResult::~PgResult() {
    PQclear(result_);
}

int PgResult::rows() const {
    return PQntuples(result_);
}

int PgResult::affected() const {
    const char* count = PQcmdTuples(result_);
    return *count ? std::stoi(count) : 0;
}

std::string PgResult::status() const {
    return PQcmdStatus(result_);
}

std::int64_t PgResult::integer(int row, int column) const {
    const char* value = PQgetvalue(result_, row, column);
    if (PQfformat(result_, column) == 0) {
        return std::stoll(value);
    }
    // Binary integers are big-endian, of 2, 4 or 8 bytes.
    const int size = PQgetlength(result_, row, column);
    std::uint64_t bits = static_cast<unsigned char>(value[0]) & 0x80 ? ~std::uint64_t{0} : 0;
    for (int i = 0; i < size; ++i) {
        bits = (bits << 8) | static_cast<unsigned char>(value[i]);
    }
    return static_cast<std::int64_t>(bits);
}

std::string PgResult::text(int row, int column) const {
    return {PQgetvalue(result_, row, column),
            static_cast<std::size_t>(PQgetlength(result_, row, column))};
}

PgConnection::PgConnection(const std::string& uri) : conn_(PQconnectdb(uri.c_str())) {
    if (PQstatus(conn_) != CONNECTION_OK) {
        const std::string message = reason(PQerrorMessage(conn_));
        PQfinish(conn_);
        throw StoreError("PostgreSQL: " + message);
    }
    // Notices such as "already exists, skipping" are for people at a prompt.
    PQsetNoticeProcessor(
        conn_, [](void*, const char*) {}, nullptr);
    exec("SET client_encoding = 'UTF8'");
}

PgConnection::~PgConnection() {
    PQfinish(conn_);
}

PgResult PgConnection::checked(pg_result* result, std::string_view what) {
    const auto status = PQresultStatus(result);
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
        const std::string message =
            reason(result ? PQresultErrorMessage(result) : PQerrorMessage(conn_));
        PQclear(result);
        throw StoreError("PostgreSQL, " + std::string(what) + ": " + message);
    }
    return PgResult(result);
}

PgResult PgConnection::exec(const std::string& sql) {
    return checked(PQexec(conn_, sql.c_str()), sql.substr(0, sql.find(' ')));
}

void PgConnection::prepare(const std::string& name, const std::string& sql) {
    prepared_.emplace_back(name, sql);
    checked(PQprepare(conn_, name.c_str(), sql.c_str(), 0, nullptr), name);
}

void PgConnection::prepareAll() {
    for (const auto& [name, sql] : prepared_) {
        checked(PQprepare(conn_, name.c_str(), sql.c_str(), 0, nullptr), name);
    }
}

PgResult PgConnection::execute(const std::string& name, const Param* params, std::size_t count) {
    std::vector<const char*> values(count);
    std::vector<int> lengths(count), formats(count);
    for (std::size_t i = 0; i < count; ++i) {
        values[i] = params[i].value.c_str();
        lengths[i] = static_cast<int>(params[i].value.size());
        formats[i] = params[i].binary ? 1 : 0;
    }
    return checked(PQexecPrepared(conn_, name.c_str(), static_cast<int>(count), values.data(),
                                  lengths.data(), formats.data(), 1),
                   name);
}

void PgConnection::reconnectIfLost() {
    if (PQstatus(conn_) == CONNECTION_OK) {
        return;
    }
    PQreset(conn_);
    if (PQstatus(conn_) != CONNECTION_OK) {
        throw StoreError("PostgreSQL unreachable: " + reason(PQerrorMessage(conn_)));
    }
    exec("SET client_encoding = 'UTF8'");
    prepareAll();
}

} // namespace velmora::server::store
