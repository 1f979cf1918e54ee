#include "core/hub.h"

#include "core/command_table.h"
#include "core/names.h"

#include <sodium.h>

#include <utility>

namespace velmora::server::core {

namespace p = protocol;

namespace {
// libsodium is initialised by the hasher, which is built first.
std::string randomPassword() {
    return std::to_string(randombytes_random()) + std::to_string(randombytes_random());
}
} // namespace

Hub::Hub(store::Store& store, CoreConfig config, Log& log, Cluster* cluster)
    : store_(store), storeId_(store.storeId()), config_(std::move(config)), log_(log),
      hasher_(config_.hashCost), decoyHash_(hasher_.hash(randomPassword())),
      credentials_(config_.credentialCacheEntries, config_.credentialCacheAge),
      failures_(config_.maxLoginsPerMinute), cluster_(cluster),
      rooms_(cluster ? cluster->rooms() : localRooms_) {}

void Hub::connected(ConnId conn, std::string address, Clock::time_point now, bool tls) {
    Peer peer{std::move(address), now};
    peer.tls = tls;
    peers_[conn] = std::move(peer);
    arrivals_.emplace_back(now, conn);
}

void Hub::handle(ConnId conn, const p::FieldViews& f, Effects& fx) {
    const std::string_view code = f.empty() ? std::string_view() : std::string_view(f[0]);
    const Session* me = sessions_.of(conn);
    bool first = false;
    if (!me) {
        // Only a connection's first command may open a data connection, and
        // only before a login: the relay path after it looks nothing up for it.
        if (const auto peer = peers_.find(conn); peer != peers_.end()) {
            first = !std::exchange(peer->second.spoke, true);
        }
    }
    const auto info = commandInfo(code);
    if (!info) {
        violation(conn, "unknown command \"" + std::string(code.substr(0, 40)) + "\" ignored", fx);
        return;
    }
    if (f.size() - 1 < info->fieldCount) {
        violation(conn,
                  std::string(code) + " with " + std::to_string(f.size() - 1) + " of " +
                      std::to_string(info->fieldCount) + " fields ignored",
                  fx);
        return;
    }
    if (info->command == Command::Login) {
        login(conn, f, fx);
        return;
    }
    if (info->command == Command::SignUp) {
        signUp(conn, f, fx);
        return;
    }
    if (info->command == Command::FileData) {
        dataHello(conn, f, first, fx);
        return;
    }
    if (!me) {
        violation(conn, std::string(code) + " before login ignored", fx);
        return;
    }
    // Search carries no user field; every other command names its sender.
    if (info->command != Command::Search && !sameName(f[1], me->name)) {
        violation(conn,
                  std::string(code) + " in the name of \"" + std::string(f[1].substr(0, 40)) +
                      "\" ignored",
                  fx);
        return;
    }
    if (!fieldsAreSealed(info->command, f)) {
        violation(conn, std::string(code) + " with a separator or control bytes in a field refused",
                  fx);
        return;
    }
    const Session self = *me;
    switch (info->command) {
    case Command::PrivateMessage:
        privateMessage(conn, self, f, fx);
        break;
    case Command::AddBuddy:
        addBuddy(conn, self, f, fx);
        break;
    case Command::DeleteBuddy:
        deleteBuddy(conn, self, f, fx);
        break;
    case Command::Search:
        search(conn, f, fx);
        break;
    case Command::OpenRoom:
        openRoom(conn, self, f, fx);
        break;
    case Command::RoomMessage:
        roomMessage(self, f, fx);
        break;
    case Command::ExitRoom:
        exitRoom(self, f, fx);
        break;
    case Command::Invite:
        invite(self, f, fx);
        break;
    case Command::Confirm:
        confirm(self, f, conn, fx);
        break;
    case Command::FileOffer:
        offerFile(conn, self, f, fx);
        break;
    case Command::FileAnswer:
        answerFile(conn, self, f, fx);
        break;
    case Command::ChangePassword:
    case Command::DeleteAccount:
        ownAccount(conn, self, f, info->command == Command::ChangePassword, fx);
        break;
    case Command::Login:
    case Command::SignUp:
    case Command::FileData:
        break; // handled above
    }
}

Effects Hub::disconnected(ConnId conn) {
    Effects fx;
    endSession(conn, fx);
    peers_.erase(conn);
    offlineCursor_.erase(conn);
    return fx;
}

std::vector<ConnId> Hub::anonymousSince(Clock::time_point cutoff) {
    std::vector<ConnId> out, pending;
    while (!arrivals_.empty() && arrivals_.front().first < cutoff) {
        const ConnId conn = arrivals_.front().second;
        arrivals_.pop_front();
        const auto peer = peers_.find(conn);
        if (peer == peers_.end() || sessions_.of(conn)) {
            continue;
        }
        (peer->second.passwordPending ? pending : out).push_back(conn);
    }
    // A login still being checked is looked at again at the next cutoff.
    for (auto it = pending.rbegin(); it != pending.rend(); ++it) {
        arrivals_.emplace_front(cutoff, *it);
    }
    return out;
}

void Hub::violation(ConnId conn, const std::string& what, Effects& fx) {
    const auto it = peers_.find(conn);
    if (it == peers_.end()) {
        return;
    }
    const int count = ++it->second.violations;
    if (count == 1) {
        log_.line(who(conn) + " " + what + " (later protocol violations are counted, not logged)");
    }
    if (config_.maxViolations > 0 && count == config_.maxViolations) {
        fx.close.push_back({conn, std::to_string(count) + " protocol violations"});
    }
}

void Hub::endSession(ConnId conn, Effects& fx, bool claimed) {
    const auto session = sessions_.detach(conn);
    if (!session) {
        return;
    }
    log_.line(who(conn) + " " + session->name + " logged out");
    leaveRoom(*session, fx);
    endOffersOf(session->name, fx);
    if (!cluster_) {
        announce(*session, p::reply::LOff, fx);
    } else if (!claimed && !cluster_->release(session->name)) {
        // The bus is out of reach: this node's own users still hear of it.
        noteOffline(cluster_->self(), session->name, fx);
    }
}

bool Hub::toUser(std::string_view name, std::string_view record, Effects& fx) {
    if (const auto conn = sessions_.connectionOf(name)) {
        fx.send(*conn, record);
        return true;
    }
    if (const std::string* node = remoteNodeOf(name)) {
        fx.relay(*node, name, record);
        return true;
    }
    return false;
}

const Directory::Entry* Hub::remoteEntryOf(std::string_view name) const {
    const Directory::Entry* entry = cluster_ ? directory_.find(name) : nullptr;
    // This node's own entries are sessions that ended a moment ago.
    return entry && entry->node != cluster_->self() ? entry : nullptr;
}

void Hub::announce(const Session& user, std::string_view code, Effects& fx) {
    const std::string record = p::buildReply(code, {user.name});
    for (const auto& watcher : store_.watchers(user.id)) {
        if (sameName(watcher, user.name)) {
            continue;
        }
        if (const auto conn = sessions_.connectionOf(watcher)) {
            fx.send(*conn, record);
        }
    }
}

std::string Hub::who(ConnId conn) const {
    std::string text = "#" + std::to_string(conn);
    if (const auto it = peers_.find(conn); it != peers_.end()) {
        text += " " + it->second.address;
    }
    if (const Session* s = sessions_.of(conn)) {
        text += " " + s->name;
    }
    return text;
}

std::string notice(std::string_view text) {
    // Message text travels with its spaces written as "%%".
    std::string wire;
    for (const char c : text) {
        wire += (c == ' ') ? std::string("%%") : std::string(1, c);
    }
    return p::buildReply(p::reply::PM, {"IM Server", wire, "MS Sans Serif", "10", ""});
}

} // namespace velmora::server::core
