#include "admin/backup.h"

#include <sqlite3.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

namespace velmora::server::admin {

namespace {
struct Closer {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using Db = std::unique_ptr<sqlite3, Closer>;

Db open(const std::string& path, int flags) {
    sqlite3* raw = nullptr;
    const int rc = sqlite3_open_v2(path.c_str(), &raw, flags, nullptr);
    Db db(raw);
    if (rc != SQLITE_OK) {
        throw std::runtime_error("cannot open " + path + ": " +
                                 (raw ? sqlite3_errmsg(raw) : sqlite3_errstr(rc)));
    }
    sqlite3_busy_timeout(raw, 5000);
    return db;
}
} // namespace

int backupSqlite(const std::string& db, const std::string& file) {
    const Db source = open(db, SQLITE_OPEN_READONLY);
    const std::string partial = file + ".partial";
    int pages = 0;
    {
        const Db target = open(partial, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        sqlite3_backup* backup = sqlite3_backup_init(target.get(), "main", source.get(), "main");
        if (!backup) {
            throw std::runtime_error("cannot back up to " + partial + ": " +
                                     sqlite3_errmsg(target.get()));
        }
        // All pages in one step: one read transaction, so one snapshot,
        // whatever the server commits meanwhile.
        const int rc = sqlite3_backup_step(backup, -1);
        pages = sqlite3_backup_pagecount(backup);
        sqlite3_backup_finish(backup);
        if (rc != SQLITE_DONE) {
            std::remove(partial.c_str());
            throw std::runtime_error(std::string("backup failed: ") + sqlite3_errstr(rc));
        }
    }
    if (std::rename(partial.c_str(), file.c_str()) != 0) {
        std::remove(partial.c_str());
        throw std::runtime_error("cannot write " + file);
    }
    return pages;
}

} // namespace velmora::server::admin
