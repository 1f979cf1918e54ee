// What the operator's commands need of the hub: who is logged in, the rooms,
// ending sessions, removing accounts, and the bans a login must pass.
#include "core/hub.h"

#include "core/address_key.h"
#include "core/clock.h"
#include "core/names.h"

#include <algorithm>
#include <chrono>

namespace velmora::server::core {

namespace {
std::string banText(const store::Ban& ban) {
    return (ban.until == 0 ? std::string("for ever")
                           : "until " + utcTimestamp(ban.until) + " UTC") +
           (ban.reason.empty() ? std::string() : ": " + ban.reason);
}
} // namespace

std::vector<Hub::SessionInfo> Hub::sessionList() const {
    std::vector<SessionInfo> out;
    for (const auto& [conn, session] : sessions_.all()) {
        const auto peer = peers_.find(conn);
        out.push_back({session.name, peer == peers_.end() ? std::string() : peer->second.address,
                       session.since, peer != peers_.end() && peer->second.tls});
    }
    std::sort(out.begin(), out.end(), [](const SessionInfo& a, const SessionInfo& b) {
        return nameKey(a.name) < nameKey(b.name);
    });
    return out;
}

std::vector<Room> Hub::roomList() {
    std::vector<Room> out;
    for (const auto& [conn, session] : sessions_.all()) {
        auto room = rooms_.roomOf(session.name);
        if (room && std::none_of(out.begin(), out.end(),
                                 [&](const Room& r) { return sameName(r.name, room->name); })) {
            out.push_back(std::move(*room));
        }
    }
    std::sort(out.begin(), out.end(),
              [](const Room& a, const Room& b) { return nameKey(a.name) < nameKey(b.name); });
    return out;
}

bool Hub::kick(std::string_view name, std::string_view reason, std::string_view why, Effects& fx) {
    const auto conn = sessions_.connectionOf(name);
    if (!conn) {
        return false;
    }
    log_.line(who(*conn) + " " + std::string(why) +
              (reason.empty() ? std::string() : ": " + std::string(reason)));
    if (!reason.empty()) {
        fx.send(*conn, notice(std::string(why) + ": " + std::string(reason)));
    }
    endSession(*conn, fx);
    fx.close.push_back({*conn, std::string(why), true});
    return true;
}

int Hub::kickAddress(std::string_view key, std::string_view reason, std::string_view why,
                     Effects& fx) {
    std::vector<std::string> names;
    for (const auto& [conn, session] : sessions_.all()) {
        const auto peer = peers_.find(conn);
        if (peer != peers_.end() && addressKey(peer->second.address) == key) {
            names.push_back(session.name);
        }
    }
    for (const auto& name : names) {
        kick(name, reason, why, fx);
    }
    return static_cast<int>(names.size());
}

void Hub::removeAccount(const store::User& user, std::string_view why, Effects& fx) {
    // Buddies hear +LOff while their lists still name the account.
    if (const auto conn = sessions_.connectionOf(user.name)) {
        endSession(*conn, fx);
        fx.close.push_back({*conn, std::string(why), true});
    }
    deleteStored(user);
    log_.line(user.name + " deleted (" + std::string(why) + ")");
}

void Hub::deleteStored(const store::User& user) {
    store_.deleteUser(user.id);
    if (config_.retireNames.count() > 0) {
        store_.retireName(user.name, unixNow() + config_.retireNames.count());
    }
}

bool Hub::barred(ConnId conn, const store::User* user) {
    const std::int64_t now = unixNow();
    const auto peer = peers_.find(conn);
    const auto key = peer == peers_.end() ? std::nullopt : addressKey(peer->second.address);
    std::optional<store::Ban> ban = key ? store_.banOn(*key, now) : std::nullopt;
    std::string what = ban ? "address " + *key : std::string();
    if (!ban && user) {
        if (user->disabled) {
            log_.line(who(conn) + " login refused: " + user->name + " is disabled");
            return true;
        }
        ban = store_.banOn(user->name, now);
        what = user->name;
    }
    if (ban) {
        log_.line(who(conn) + " login refused: " + what + " is banned " + banText(*ban));
    }
    return ban.has_value();
}

} // namespace velmora::server::core
