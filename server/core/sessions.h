// Who is logged in on which connection.
#pragma once

#include "core/effects.h"
#include "core/names.h"
#include "store/store.h"

#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace velmora::server::core {

struct Session {
    store::UserId id = 0;
    std::string name; // as registered
    // In a cluster, the claim that made this session the name's (Cluster::claim).
    std::int64_t claim = 0;
    // The client confirms what it kept: its private messages are stored
    // first and numbered.
    bool receipts = false;
    std::string since{}; // local time of the login
};

// Where a private message for a user goes: their connection, and whether
// it is numbered there.
struct Recipient {
    ConnId conn = 0;
    bool receipts = false;
};

class Sessions {
public:
    void attach(ConnId conn, Session session);
    std::optional<Session> detach(ConnId conn);

    [[nodiscard]] const Session* of(ConnId conn) const;
    [[nodiscard]] std::optional<ConnId> connectionOf(std::string_view name) const;
    // The same with the session's receipts, in one look-up: the relay's busy path.
    [[nodiscard]] std::optional<Recipient> recipientOf(std::string_view name) const;
    [[nodiscard]] bool isOnline(std::string_view name) const {
        return connectionOf(name).has_value();
    }
    [[nodiscard]] const auto& all() const { return byConnection_; }

private:
    // Map nodes come from a pool: no allocator header on each of a million.
    std::pmr::unsynchronized_pool_resource pool_;
    std::pmr::unordered_map<ConnId, Session> byConnection_{&pool_};
    // Keyed by a view of the session's own name (map nodes do not move): one
    // copy of each name for the million users a node may hold.
    std::pmr::unordered_map<std::string_view, Recipient, NameHash, NameEqual> byName_{&pool_};
};

} // namespace velmora::server::core
