#include "core/hub.h"

#include "core/command_table.h"
#include "core/names.h"

namespace velmora::server::core {

namespace p = protocol;

Hub::Hub(store::Store& store, CoreConfig config, Log& log)
    : store_(store), config_(std::move(config)), log_(log), hasher_(config_.hashCost),
      logins_(config_.maxLoginsPerMinute) {}

void Hub::connected(ConnId conn, std::string address) {
    addresses_[conn] = std::move(address);
}

Effects Hub::handle(ConnId conn, const p::Fields& f) {
    Effects fx;
    const std::string code = f.empty() ? std::string() : f[0];
    const auto needed = commandFieldCount(code);
    if (!needed) {
        log_.line(who(conn) + " unknown command \"" + code.substr(0, 40) + "\" ignored");
        return fx;
    }
    if (f.size() - 1 < *needed) {
        log_.line(who(conn) + " " + code + " with " + std::to_string(f.size() - 1) + " of " +
                  std::to_string(*needed) + " fields ignored");
        return fx;
    }
    if (code == p::cmd::LI) {
        login(conn, f, fx);
        return fx;
    }
    if (code == p::cmd::RA) {
        signUp(conn, f, fx);
        return fx;
    }
    const Session* me = sessions_.of(conn);
    if (!me) {
        log_.line(who(conn) + " " + code + " before login ignored");
        return fx;
    }
    // Search carries no user field; every other command names its sender.
    if (code != p::cmd::SU && !sameName(f[1], me->name)) {
        log_.line(who(conn) + " " + code + " in the name of \"" + f[1].substr(0, 40) +
                  "\" ignored");
        return fx;
    }
    const Session self = *me;
    if (code == p::cmd::PM) {
        privateMessage(conn, self, f, fx);
    } else if (code == p::cmd::AB) {
        addBuddy(conn, self, f, fx);
    } else if (code == p::cmd::DB) {
        deleteBuddy(conn, self, f, fx);
    } else if (code == p::cmd::SU) {
        search(conn, f, fx);
    } else if (code == p::cmd::CO) {
        openRoom(conn, self, f, fx);
    } else if (code == p::cmd::CM) {
        roomMessage(self, f, fx);
    } else if (code == p::cmd::CE) {
        exitRoom(self, f, fx);
    } else if (code == p::cmd::CI) {
        invite(self, f, fx);
    }
    return fx;
}

Effects Hub::disconnected(ConnId conn) {
    Effects fx;
    endSession(conn, fx);
    addresses_.erase(conn);
    return fx;
}

void Hub::written(const std::vector<std::int64_t>& offlineIds) {
    if (!offlineIds.empty()) {
        store_.removeOffline(offlineIds);
    }
}

void Hub::endSession(ConnId conn, Effects& fx) {
    const auto session = sessions_.detach(conn);
    if (!session) {
        return;
    }
    log_.line(who(conn) + " " + session->name + " logged out");
    leaveRoom(*session, fx);
    announce(*session, p::reply::LOff, fx);
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
    if (const auto it = addresses_.find(conn); it != addresses_.end()) {
        text += " " + it->second;
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
