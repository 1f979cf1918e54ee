// Drives a hub over a real SQLite file, with no sockets: commands go in as
// the bytes a client sends, and each connection's records come out as the
// bytes it would receive.
#pragma once

#include "core/hub.h"
#include "core/password.h"
#include "store/store.h"
#include "temp_dir.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <sstream>

namespace velmora::test {

namespace core = server::core;
using Received = std::map<core::ConnId, std::string>;

class HubTest : public ::testing::Test {
protected:
    HubTest() { config.hashCost = core::HashCost::Fast; }

    void addUser(const std::string& name, const std::string& password) {
        ASSERT_TRUE(store.addUser(name, core::PasswordHasher(core::HashCost::Fast).hash(password)));
    }

    core::Hub& hub() {
        if (!hub_) {
            hub_ = std::make_unique<core::Hub>(store, config, log);
        }
        return *hub_;
    }

    core::ConnId connect(const std::string& address = "10.0.0.1") {
        hub().connected(++lastId_, address);
        return lastId_;
    }

    // Every command in `bytes`, in order; what each connection receives.
    Received send(core::ConnId from, const std::string& bytes) {
        Received got;
        for (const auto& command : protocol::splitBatch(bytes, protocol::kCommandFieldSep)) {
            collect(hub().handle(from, command), got);
        }
        return got;
    }

    Received disconnect(core::ConnId conn) {
        Received got;
        collect(hub().disconnected(conn), got);
        return got;
    }

    // Logs in on a new connection; the login's own records are dropped.
    core::ConnId login(const std::string& name, const std::string& password) {
        const core::ConnId conn = connect();
        const Received got = send(conn, " ## cmdLI /:/ " + name + " /:/ " + password + " /:/ 1.4");
        EXPECT_TRUE(got.at(conn).starts_with(" ## +LI /$/ Login=True")) << got.at(conn);
        return conn;
    }

    void collect(const core::Effects& fx, Received& got) {
        for (const auto& out : fx.out) {
            EXPECT_LT(out.record.size(), 16u * 1024u);
            got[out.to] += out.record;
            written.insert(written.end(), out.offlineIds.begin(), out.offlineIds.end());
        }
        closed.insert(closed.end(), fx.close.begin(), fx.close.end());
    }

    TempDir dir;
    server::store::Store store{dir.file("v.db")};
    std::ostringstream logText;
    core::Log log{logText};
    core::CoreConfig config;
    // Offline messages carried by records so far, and connections closed.
    std::vector<std::int64_t> written;
    std::vector<core::ConnId> closed;

private:
    std::unique_ptr<core::Hub> hub_;
    core::ConnId lastId_ = 0;
};

} // namespace velmora::test
