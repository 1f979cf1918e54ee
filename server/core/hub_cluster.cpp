// The hub as one node of a cluster: what the other nodes did, as the bus
// tells it. Every node sees the same events in the same order, and each
// tells only its own users: a user who logs in anywhere is announced to
// their buddies by the node each buddy is on.
#include "core/hub.h"

#include "core/clock.h"
#include "core/names.h"

#include <unordered_set>

namespace velmora::server::core {

namespace p = protocol;

void Hub::announceRemote(const std::string& name, std::string_view code, Effects& fx) {
    if (sessions_.all().empty()) {
        return; // nobody here to tell: spare the store the question
    }
    if (const auto user = store_.findUser(name)) {
        announce(Session{user->id, user->name}, code, fx);
    }
}

void Hub::noteOnline(const std::string& node, const std::string& name, std::int64_t claim,
                     bool receipts, Effects& fx) {
    const std::string before = directory_.set(node, name, receipts);
    if (before == node) {
        return;
    }
    if (!before.empty()) {
        // A second login on another node: the session there ends as a
        // replaced one does on a single server.
        if (const auto conn = sessions_.connectionOf(name);
            conn && node != cluster_->self() && sessions_.of(*conn)->claim < claim) {
            log_.line(who(*conn) + " replaced by a new login on node " + node);
            endSession(*conn, fx, true);
            fx.close.push_back({*conn, "replaced by a new login"});
        }
        announceRemote(name, p::reply::LOff, fx);
    }
    announceRemote(name, p::reply::LOn, fx);
}

void Hub::noteOffline(const std::string& node, const std::string& name, Effects& fx) {
    if (directory_.erase(node, name)) {
        announceRemote(name, p::reply::LOff, fx);
    }
}

Effects Hub::userOnline(const std::string& node, const std::string& name, std::int64_t claim,
                        bool receipts) {
    Effects fx;
    noteOnline(node, name, claim, receipts, fx);
    return fx;
}

Effects Hub::userOffline(const std::string& node, const std::string& name) {
    Effects fx;
    noteOffline(node, name, fx);
    return fx;
}

Effects Hub::nodeGone(const std::string& node) {
    Effects fx;
    if (node == cluster_->self()) {
        return fx; // declared dead while out of reach: the resync claims our users again
    }
    log_.line("node " + node + " stopped: its users are offline");
    for (const auto& name : directory_.dropNode(node)) {
        announceRemote(name, p::reply::LOff, fx);
    }
    return fx;
}

Effects Hub::leftWithNode(const std::vector<std::string>& names) {
    Effects fx;
    for (const auto& name : names) {
        if (const auto left = rooms_.leave(name)) {
            toRoom(*left, p::buildReply(p::reply::CE, {name}), fx);
        }
    }
    return fx;
}

Effects Hub::resynced(const std::vector<Directory::Entry>& entries) {
    Effects fx;
    std::unordered_set<std::string, NameHash, NameEqual> now;
    for (const auto& entry : entries) {
        now.insert(entry.name);
    }
    for (const auto& entry : directory_.entries()) {
        if (!now.contains(entry.name)) {
            noteOffline(entry.node, entry.name, fx);
        }
    }
    for (const auto& entry : entries) {
        noteOnline(entry.node, entry.name, 0, entry.receipts, fx);
    }
    log_.line("presence of " + std::to_string(entries.size()) + " users taken from the bus again");
    return fx;
}

Effects Hub::replacedElsewhere(const std::vector<std::string>& names) {
    Effects fx;
    for (const auto& name : names) {
        if (const auto conn = sessions_.connectionOf(name)) {
            log_.line(who(*conn) + " replaced by a login on another node while the bus was away");
            endSession(*conn, fx, true);
            fx.close.push_back({*conn, "replaced by a new login"});
        }
    }
    return fx;
}

Effects Hub::relayed(const std::string& user, std::string_view record, bool numbered) {
    Effects fx;
    relayedAnswer(user, record, fx);
    if (const auto to = sessions_.recipientOf(user)) {
        deliverRelayed(*to, record, numbered, fx);
    } else if (!numbered) {
        keepStray(user, record, false, fx);
    } // a numbered message is stored already: it waits for the next login
    return fx;
}

Effects Hub::undelivered(const std::string& user, std::string_view record, bool numbered) {
    Effects fx;
    if (!numbered || !numberOf(record)) {
        keepStray(user, record, true, fx);
    } else if (const auto recipient = store_.findUser(user)) {
        // Stored already; its sender hears what an offline recipient means.
        const auto f = p::split(record, p::kReplyFieldSep);
        if (const auto sender = sessions_.connectionOf(f[1])) {
            fx.send(*sender, p::buildReply(p::reply::UNO, {recipient->name}));
        }
    }
    return fx;
}

void Hub::keepStray(const std::string& user, std::string_view record, bool tellSender,
                    Effects& fx) {
    const std::string head = std::string(p::kRecordMark) + std::string(p::reply::PM);
    if (!record.starts_with(head + std::string(p::kReplyFieldSep))) {
        return; // presence and rooms: the next event tells the truth
    }
    const auto f = p::split(record, p::kReplyFieldSep);
    const auto recipient = store_.findUser(user);
    if (f.size() < 3 || !recipient) {
        return;
    }
    if (store_.offlineCount(recipient->id) >= config_.maxOfflinePerUser) {
        log_.line("message from " + f[1] + " to " + recipient->name +
                  " that no node took dropped: mailbox full");
        return;
    }
    store_.addOffline(recipient->id, f[1], f[2], localTimestamp());
    log_.line("message from " + f[1] + " to " + recipient->name +
              " that no node took kept offline");
    if (const auto sender = sessions_.connectionOf(f[1]); sender && tellSender) {
        fx.send(*sender, p::buildReply(p::reply::UNO, {recipient->name}));
    }
}

std::vector<Directory::Entry> Hub::localUsers() const {
    std::vector<Directory::Entry> users;
    for (const auto& [conn, session] : sessions_.all()) {
        users.push_back(
            {cluster_ ? cluster_->self() : std::string(), session.name, session.receipts});
    }
    return users;
}

} // namespace velmora::server::core
