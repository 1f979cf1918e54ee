#include "core/sessions.h"

#include "core/names.h"

namespace velmora::server::core {

void Sessions::attach(ConnId conn, Session session) {
    detach(conn);
    byName_.erase(session.name); // its key may view a session about to go
    const Recipient to{conn, session.receipts};
    const auto& stored = byConnection_.insert_or_assign(conn, std::move(session)).first->second;
    byName_.emplace(stored.name, to);
}

std::optional<Session> Sessions::detach(ConnId conn) {
    const auto it = byConnection_.find(conn);
    if (it == byConnection_.end()) {
        return std::nullopt;
    }
    if (const auto named = byName_.find(it->second.name);
        named != byName_.end() && named->second.conn == conn) {
        byName_.erase(named);
    }
    Session session = std::move(it->second);
    byConnection_.erase(it);
    return session;
}

const Session* Sessions::of(ConnId conn) const {
    const auto it = byConnection_.find(conn);
    return it == byConnection_.end() ? nullptr : &it->second;
}

std::optional<ConnId> Sessions::connectionOf(std::string_view name) const {
    const auto it = byName_.find(name);
    if (it == byName_.end()) {
        return std::nullopt;
    }
    return it->second.conn;
}

std::optional<Recipient> Sessions::recipientOf(std::string_view name) const {
    const auto it = byName_.find(name);
    if (it == byName_.end()) {
        return std::nullopt;
    }
    return it->second;
}

} // namespace velmora::server::core
