#include "core/sessions.h"

#include "core/names.h"

namespace velmora::server::core {

void Sessions::attach(ConnId conn, Session session) {
    byName_[session.name] = Recipient{conn, session.receipts};
    byConnection_[conn] = std::move(session);
}

std::optional<Session> Sessions::detach(ConnId conn) {
    const auto it = byConnection_.find(conn);
    if (it == byConnection_.end()) {
        return std::nullopt;
    }
    Session session = std::move(it->second);
    byConnection_.erase(it);
    byName_.erase(session.name);
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
