// Private messages, live or kept for a recipient who is offline.
#include "core/hub.h"

#include "core/clock.h"

namespace velmora::server::core {

namespace p = protocol;

namespace {
// Rows read per page; a page is what fits in one record.
constexpr int kPageRows = 64;
} // namespace

void Hub::privateMessage(ConnId conn, const Session& me, const p::FieldViews& f, Effects& fx) {
    // The busy path, a recipient who is online, needs no database.
    if (const auto to = sessions_.recipientOf(f[2])) {
        if (to->receipts) {
            keepAndSend(conn, to->conn, {me.name, f[3], f[4], f[5], f[6]}, fx);
        } else {
            fx.reply(to->conn, p::reply::PM, {me.name, f[3], f[4], f[5], f[6]});
        }
        return;
    }
    const Directory::Entry* remote = remoteEntryOf(f[2]);
    if (remote && !remote->receipts) {
        fx.relayReply(remote->node, f[2], p::reply::PM, {me.name, f[3], f[4], f[5], f[6]});
        return;
    }
    const auto recipient = store_.findUser(std::string(f[2]));
    if (!recipient) {
        fx.send(conn, p::buildReply(p::reply::UNV, {f[2]}));
        return;
    }
    if (!mailboxHasRoom(conn, *recipient, fx)) {
        return;
    }
    const auto id = store_.addOffline(recipient->id, me.name, std::string(f[3]), localTimestamp());
    if (remote) {
        // The other node sends it with its number once it is stored: the
        // records of a turn that changed something leave after its commit.
        fx.relayReply(remote->node, f[2], p::reply::PM,
                      {me.name, f[3], f[4], f[5], f[6], std::to_string(id)}, true);
        return;
    }
    fx.send(conn, p::buildReply(p::reply::UNO, {recipient->name}));
}

bool Hub::mailboxHasRoom(ConnId sender, const store::User& recipient, Effects& fx) {
    if (store_.offlineCount(recipient.id) < config_.maxOfflinePerUser) {
        return true;
    }
    log_.line(who(sender) + " message to " + recipient.name + " refused: mailbox full");
    fx.send(sender, notice("The offline mailbox of " + recipient.name +
                           " is full; your message was not stored."));
    return false;
}

// One +OM record of the messages after the last one sent on this
// connection. The next page goes out once this one has been written, so a
// mailbox of any size reaches its owner without filling the output queue.
void Hub::sendOfflinePage(ConnId conn, const Session& me, Effects& fx) {
    const auto cursor = offlineCursor_.find(conn);
    const std::int64_t after = cursor == offlineCursor_.end() ? 0 : cursor->second;
    // Room for the count, which is written in front of the items.
    constexpr std::size_t kCountRoom = 12;
    const std::size_t head = p::kRecordMark.size() + p::reply::OM.size() + p::kReplyFieldSep.size();
    std::string items;
    std::vector<std::int64_t> ids;
    for (const auto& m : store_.offline(me.id, after, kPageRows)) {
        std::string item = std::string(p::kListItemSep) + m.body + std::string(p::kNameListSep) +
                           m.sender + std::string(p::kNameListSep) + m.sent;
        if (me.receipts) {
            item += p::kNameListSep;
            item += std::to_string(m.id);
        }
        if (!ids.empty() && head + kCountRoom + items.size() + item.size() > kMaxRecordBytes) {
            break;
        }
        items += item;
        ids.push_back(m.id);
    }
    if (ids.empty()) {
        offlineCursor_.erase(conn);
        return;
    }
    offlineCursor_[conn] = ids.back();
    const std::string record = p::buildReply(p::reply::OM, {std::to_string(ids.size()) + items});
    if (me.receipts) {
        // Forgotten when the client confirms them, not when its kernel has them.
        ids.clear();
    }
    fx.send(conn, record, std::move(ids), true);
}

Effects Hub::openMailbox(ConnId conn) {
    Effects fx;
    if (const Session* me = sessions_.of(conn)) {
        offlineCursor_.erase(conn);
        sendOfflinePage(conn, *me, fx);
        if (!config_.welcome.empty()) {
            fx.send(conn, notice(config_.welcome));
        }
    }
    return fx;
}

Effects Hub::offlineWritten(ConnId conn) {
    Effects fx;
    const Session* me = sessions_.of(conn);
    if (me && offlineCursor_.contains(conn)) {
        sendOfflinePage(conn, *me, fx);
    }
    return fx;
}

void Hub::acknowledged(const std::vector<std::int64_t>& offlineIds) {
    if (!offlineIds.empty()) {
        store_.removeOffline(offlineIds);
    }
}

} // namespace velmora::server::core
