// libFuzzer target over velmorad's whole input path: bytes from up to four
// connections are framed, handled by the hub against an in-memory store, and
// every record that comes out is read back the way a client reads it. Input:
// chunks of [connection and action byte][length byte][bytes]; an action of 3
// ends the connection, 2 lets it go quiet (the pending command is taken).
//
// Beyond not crashing, a record must never show a forged sender, an extra
// field or an extra record.
#include "core/hub.h"
#include "net/framer.h"
#include "store/sqlite_store.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>

namespace core = velmora::server::core;
namespace net = velmora::server::net;
namespace p = velmora::protocol;

namespace {
constexpr int kConnections = 4;

struct Rig {
    velmora::server::store::SqliteStore store{":memory:"};
    std::ostringstream logText;
    core::Log log{logText};
    std::unique_ptr<core::Hub> hub;
    core::PasswordHasher hasher{core::HashCost::Fast};
    std::map<core::ConnId, std::unique_ptr<net::Framer>> framers;

    Rig() {
        for (const char* name : {"alicia", "bobby", "carol"}) {
            (void)store.addUser(name, hasher.hash("secret"));
        }
        core::CoreConfig config;
        config.hashCost = core::HashCost::Fast;
        config.roomLimit = 3;
        config.maxOfflinePerUser = 20;
        hub = std::make_unique<core::Hub>(store, config, log);
    }

    // What a client makes of the records: one record each, senders as logged in.
    static void check(const core::Effects& fx, const core::Outgoing& out) {
        const auto require = [](bool ok) {
            if (!ok) {
                std::abort();
            }
        };
        const auto isUser = [](const std::string& name) {
            return name == "alicia" || name == "bobby" || name == "carol";
        };
        require(fx.record(out).size() <= core::kMaxRecordBytes);
        const auto records = p::splitBatch(fx.record(out));
        require(records.size() == 1);
        const auto& fields = records[0];
        if (fields[0] == p::reply::PM || fields[0] == p::reply::CM) {
            require(fields.size() == 6 && (fields[1] == "IM Server" || isUser(fields[1])));
        }
        if (fields[0] == p::reply::OM) {
            const auto items = p::split(fields.at(1), p::kListItemSep);
            require(items.size() == out.offlineIds.size() + 1);
            for (std::size_t i = 1; i < items.size(); ++i) {
                const auto parts = p::split(items[i], p::kNameListSep);
                require(parts.size() == 3 && isUser(parts[1]));
            }
        }
    }

    void apply(const core::Effects& fx, int depth = 0) {
        for (const auto& out : fx.out) {
            check(fx, out);
            if (!out.offlineIds.empty() && depth < 50) {
                hub->acknowledged(out.offlineIds);
                apply(hub->offlineWritten(out.to), depth + 1);
            }
        }
        for (const auto& closing : fx.close) {
            framers.erase(closing.conn);
            apply(hub->disconnected(closing.conn), depth + 1);
        }
        for (const auto id : fx.mailboxes) {
            apply(hub->openMailbox(id), depth + 1);
        }
        for (const auto& job : fx.passwords) {
            apply(hub->passwordDone(core::runPasswordJob(job, hasher)), depth + 1);
        }
    }

    net::Framer& framer(core::ConnId id) {
        auto& slot = framers[id];
        if (!slot) {
            slot = std::make_unique<net::Framer>(16000);
            hub->connected(id, "10.0.0." + std::to_string(id));
        }
        return *slot;
    }
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Rig rig;
    std::size_t at = 0;
    while (at + 2 <= size) {
        const core::ConnId id = 1 + data[at] % kConnections;
        const int action = (data[at] / kConnections) % 4;
        const std::size_t length = std::min<std::size_t>(data[at + 1], size - at - 2);
        const std::string_view bytes(reinterpret_cast<const char*>(data + at + 2), length);
        at += 2 + length;
        if (action == 3) {
            rig.framers.erase(id);
            rig.apply(rig.hub->disconnected(id));
            continue;
        }
        net::Framer& framer = rig.framer(id);
        framer.feed(bytes);
        p::FieldViews command;
        for (;;) {
            const auto next = framer.next(command);
            if (next == net::Framer::Next::TooLong) {
                rig.framers.erase(id);
                rig.apply(rig.hub->disconnected(id));
                break;
            }
            if (next == net::Framer::Next::None) {
                if (action == 2 && framer.hasPending()) { // may close the connection: last use
                    rig.apply(rig.hub->handle(id, framer.takePending()));
                }
                break;
            }
            // Handled in place, as the server does: the fields view the framer's buffer.
            core::Effects fx;
            rig.hub->handle(id, command, fx);
            rig.apply(fx);
            if (!rig.framers.contains(id)) {
                break; // the hub closed this connection
            }
        }
    }
    return 0;
}
