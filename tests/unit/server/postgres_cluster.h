// A PostgreSQL server of the test program's own: initdb into a fresh folder,
// pg_ctl start on a Unix socket in that folder (no TCP port), stopped when
// the program ends. Run as `nobody` under root, which postgres refuses.
#pragma once

#include "store/postgres.h"
#include "temp_dir.h"

#include <fstream>
#include <iterator>
#include <map>
#include <pwd.h>
#include <unistd.h>

namespace velmora::test {

class PostgresCluster {
public:
    // Started on first use, once per program.
    static PostgresCluster& get() {
        static PostgresCluster cluster;
        return cluster;
    }
    ~PostgresCluster() {
        if (running()) {
            run("pg_ctl -D data -m immediate -w stop"); // its files go with the folder
        }
    }

    [[nodiscard]] bool running() const { return !bin_.empty(); }
    static constexpr const char* kMissing =
        "PostgreSQL server binaries (initdb, pg_ctl) not found: PostgreSQL runs skipped";

    // The database emptied, as the URI that velmorad takes.
    std::string newDatabase() {
        server::store::PgConnection velmora(uri("velmora"));
        velmora.exec("DROP SCHEMA public CASCADE");
        velmora.exec("CREATE SCHEMA public");
        return uri("velmora");
    }

private:
    PostgresCluster() : bin_(binaries()) {
        if (!running()) {
            return;
        }
        if (const passwd* nobody = geteuid() == 0 ? getpwnam("nobody") : nullptr) {
            as_ = "runuser -u nobody -- ";
            (void)chown(dir_.path().c_str(), nobody->pw_uid, nobody->pw_gid);
        }
        if (!run("initdb -D data -U velmora --auth=trust -E UTF8 --no-locale --no-sync") ||
            !run("pg_ctl -D data -l server.log -w -o \"-k " + dir_.path() +
                 " -c listen_addresses=''\" start")) {
            std::ifstream commands(dir_.file("commands.log")), log(dir_.file("server.log"));
            throw std::runtime_error("PostgreSQL did not start: " +
                                     std::string(std::istreambuf_iterator<char>(commands), {}) +
                                     std::string(std::istreambuf_iterator<char>(log), {}));
        }
        server::store::PgConnection(uri("postgres")).exec("CREATE DATABASE velmora");
    }

    // The newest installed version's bin folder, else "." for the PATH.
    static std::string binaries() {
        std::map<double, std::string> found;
        std::error_code ec;
        for (const auto& v : std::filesystem::directory_iterator("/usr/lib/postgresql", ec)) {
            if (std::filesystem::exists(v.path() / "bin/pg_ctl")) {
                found[std::atof(v.path().filename().c_str())] = v.path() / "bin";
            }
        }
        if (!found.empty()) {
            return found.rbegin()->second;
        }
        return std::system("command -v pg_ctl >/dev/null && command -v initdb >/dev/null") == 0
                   ? "."
                   : "";
    }

    bool run(const std::string& command) {
        const std::string bin = bin_ == "." ? "" : bin_ + "/";
        return std::system(("cd " + dir_.path() + " && " + as_ + bin + command + " >>" +
                            dir_.path() + "/commands.log 2>&1")
                               .c_str()) == 0;
    }

    std::string uri(const std::string& db) const {
        return "postgresql://velmora@/" + db + "?host=" + dir_.path();
    }

    TempDir dir_;
    std::string bin_, as_;
};

} // namespace velmora::test
