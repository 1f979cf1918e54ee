// Private messages, live or kept for a recipient who is offline.
#include "core/hub.h"

#include "core/clock.h"

namespace velmora::server::core {

namespace p = protocol;

void Hub::privateMessage(ConnId conn, const Session& me, const p::Fields& f, Effects& fx) {
    const auto recipient = store_.findUser(f[2]);
    if (!recipient) {
        fx.send(conn, p::buildReply(p::reply::UNV, {f[2]}));
        return;
    }
    if (const auto to = sessions_.connectionOf(recipient->name)) {
        fx.send(*to, p::buildReply(p::reply::PM, {me.name, f[3], f[4], f[5], f[6]}));
        return;
    }
    if (store_.offlineCount(recipient->id) >= config_.maxOfflinePerUser) {
        log_.line(who(conn) + " offline message to " + recipient->name + " refused: mailbox full");
        fx.send(conn, notice("The offline mailbox of " + recipient->name +
                             " is full; your message was not stored."));
        return;
    }
    store_.addOffline(recipient->id, me.name, f[3], localTimestamp());
    fx.send(conn, p::buildReply(p::reply::UNO, {recipient->name}));
}

void Hub::sendOffline(ConnId conn, const Session& me, Effects& fx) {
    const auto waiting = store_.offline(me.id);
    // Reserve room for the count, which is written in front of the items.
    constexpr std::size_t kCountRoom = 12;
    const std::size_t head = p::kRecordMark.size() + p::reply::OM.size() + p::kReplyFieldSep.size();
    std::string items;
    std::vector<std::int64_t> ids;
    const auto flush = [&] {
        if (ids.empty()) {
            return;
        }
        std::string record = p::buildReply(p::reply::OM, {std::to_string(ids.size()) + items});
        fx.out.push_back({conn, std::move(record), std::move(ids)});
        items.clear();
        ids = {};
    };
    for (const auto& m : waiting) {
        std::string item = std::string(p::kListItemSep) + m.body + std::string(p::kNameListSep) +
                           m.sender + std::string(p::kNameListSep) + m.sent;
        if (!ids.empty() && head + kCountRoom + items.size() + item.size() > kMaxRecordBytes) {
            flush();
        }
        items += item;
        ids.push_back(m.id);
    }
    flush();
}

} // namespace velmora::server::core
