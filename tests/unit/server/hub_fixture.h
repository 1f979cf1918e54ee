// Drives a hub over a real SQLite file, with no sockets. Connections have
// names and are opened on first use; what each one receives comes out as the
// bytes it would read, with send times shown as "YYYY-MM-DD HH:MM:SS".
#pragma once

#include "core/hub.h"
#include "postgres_cluster.h"
#include "store/open_store.h"
#include "temp_dir.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <regex>
#include <sstream>

namespace velmora::test {

namespace core = server::core;
using Seen = std::map<std::string, std::string>; // connection name -> bytes

// One command line: `from` sends `in` (or loses its connection on kDrop), and
// `out` is everything every connection receives, so a stray record fails it.
struct Row {
    std::string from, in;
    Seen out;
};
inline const std::string kDrop = "(connection lost)";

// Runs on either engine: "sqlite" or "postgresql".
class HubTest : public ::testing::TestWithParam<std::string> {
protected:
    HubTest() { config.hashCost = core::HashCost::Fast; }
    void SetUp() override {
        if (postgres() && !PostgresCluster::get().running()) {
            GTEST_SKIP() << PostgresCluster::kMissing;
        }
    }
    bool postgres() const { return GetParam() == "postgresql"; }

    void addUser(const std::string& name) {
        ASSERT_TRUE(store.addUser(name, core::PasswordHasher(core::HashCost::Fast).hash("secret")));
    }

    Seen send(const std::string& from, const std::string& in) {
        if (!hub_) {
            hub_ = std::make_unique<core::Hub>(store, config, log, cluster);
        }
        const auto [at, opened] = conns_.try_emplace(from, names_.size());
        const core::ConnId id = at->second;
        if (opened) {
            names_.push_back(from);
            hub_->connected(id, address);
        }
        Seen seen;
        if (in == kDrop) {
            conns_.erase(from);
            collect(hub_->disconnected(id), seen);
            return seen;
        }
        for (const auto& command : protocol::splitBatch(in, protocol::kCommandFieldSep)) {
            collect(hub_->handle(id, command), seen);
        }
        return seen;
    }

    void play(const std::vector<Row>& rows) {
        for (const auto& row : rows) {
            EXPECT_EQ(send(row.from, row.in), row.out) << row.from << " sent " << row.in;
        }
    }

    // What an event of the cluster (a call on the hub) sends.
    template <typename Event> Seen event(Event&& call) {
        Seen seen;
        collect(call(*hub_), seen);
        return seen;
    }

    // The peers acknowledged the records carrying offline messages so far.
    void flush() { hub_->acknowledged(std::exchange(written, {})); }

    TempDir dir;
    std::unique_ptr<server::store::Store> opened = server::store::openStore(
        postgres() && PostgresCluster::get().running() ? PostgresCluster::get().newDatabase()
                                                       : dir.file("v.db"));
    server::store::Store& store = *opened;
    std::ostringstream logText;
    core::Log log{logText};
    core::CoreConfig config;
    core::Cluster* cluster = nullptr;  // set before the first send
    std::string address = "10.0.0.1";  // of connections opened from now on
    std::vector<std::int64_t> written; // offline messages carried by records
    std::vector<std::string> closed;   // connections the hub closed
    int passwordJobs = 0;              // hashes and verifications asked for

private:
    void collect(const core::Effects& fx, Seen& seen) {
        static const std::regex time(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)");
        for (const auto& out : fx.out) {
            const std::string record(fx.record(out));
            EXPECT_LT(record.size(), 16u * 1024u);
            seen[names_.at(out.to)] += std::regex_replace(record, time, "YYYY-MM-DD HH:MM:SS");
            written.insert(written.end(), out.offlineIds.begin(), out.offlineIds.end());
            if (out.page) { // written at once: the next page follows
                collect(hub_->offlineWritten(out.to), seen);
            }
        }
        for (const auto& relay : fx.relays) { // seen as "node:user"
            seen[relay.node + ":" + relay.user] += fx.record(relay);
        }
        for (const auto& closing : fx.close) {
            closed.push_back(names_.at(closing.conn));
        }
        for (const auto id : fx.mailboxes) {
            collect(hub_->openMailbox(id), seen);
        }
        // Password work runs here in line, as the pool would run it elsewhere.
        for (const auto& job : fx.passwords) {
            ++passwordJobs;
            collect(hub_->passwordDone(
                        core::runPasswordJob(job, core::PasswordHasher(config.hashCost))),
                    seen);
        }
    }

    std::unique_ptr<core::Hub> hub_;
    std::map<std::string, core::ConnId> conns_;
    std::vector<std::string> names_{""}; // by connection id, from 1
};

} // namespace velmora::test
