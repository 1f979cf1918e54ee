#include "admin/commands.h"

#include "core/address_key.h"
#include "core/clock.h"
#include "core/hub.h"
#include "core/names.h"
#include "protocol/names.h"
#include "protocol/wire.h"

#include <charconv>
#include <exception>

namespace velmora::server::admin {

namespace {

Reply done(std::string text) {
    return {0, std::move(text)};
}

Reply refused(const std::string& text) {
    return {1, "velmorad: " + text + "\n"};
}

// What may come from a request and reach a log line, a notice or the store.
bool isReason(std::string_view text) {
    return text.size() <= 200 && core::isCleanText(text) && protocol::isSealedField(text);
}

bool isHash(std::string_view text) {
    return text.starts_with("$argon2id$") && text.size() < 256 && core::isCleanText(text);
}

std::string untilText(std::int64_t until) {
    return until == 0 ? "for ever" : "until " + core::utcTimestamp(until) + " UTC";
}

class Run {
public:
    Run(const std::vector<std::string>& r, Target t, core::Effects& fx) : r_(r), t_(t), fx_(fx) {}

    Reply operator()() {
        const std::string& verb = r_[0];
        if (verb == "user" && r_.size() >= 2) {
            return user(r_[1]);
        }
        if (verb == "sessions" && r_.size() == 1) {
            return sessions();
        }
        if (verb == "rooms" && r_.size() == 1) {
            return rooms();
        }
        if (verb == "bans" && r_.size() == 1) {
            return bans();
        }
        if (verb == "kick" && (r_.size() == 2 || r_.size() == 3)) {
            return kick();
        }
        if (verb == "ban" && (r_.size() == 3 || r_.size() == 4)) {
            return ban();
        }
        if (verb == "unban" && r_.size() == 2) {
            return t_.store.removeBan(r_[1]) ? done("unbanned " + r_[1] + "\n")
                                             : refused("no ban on " + r_[1]);
        }
        return {2, "velmorad: not a command of the control socket\n"};
    }

private:
    Reply user(const std::string& what) {
        if (what == "list" && r_.size() <= 3) {
            std::string out;
            for (const auto& u : t_.store.listUsers(r_.size() == 3 ? r_[2] : std::string())) {
                out +=
                    u.name + "\t" + u.created + "\t" + (u.disabled ? "disabled" : "enabled") + "\n";
            }
            return done(out);
        }
        const bool withHash = what == "add" || what == "passwd";
        if (r_.size() != (withHash ? 4u : 3u)) {
            return {2, "velmorad: not a command of the control socket\n"};
        }
        const std::string& name = r_[2];
        if (withHash && !isHash(r_[3])) {
            return refused("that is not a password hash");
        }
        if (what == "add") {
            if (!core::isValidName(name, protocol::kMinNameLength, t_.config.maxNameLength)) {
                return refused("\"" + name +
                               "\" is not a valid user name (5 or more letters, digits, _ or -)");
            }
            if (t_.store.isRetired(name, core::unixNow())) {
                return refused("the name \"" + name + "\" belonged to a deleted account lately");
            }
            return t_.store.addUser(name, r_[3])
                       ? done("added " + name + "\n")
                       : refused("a user named \"" + name + "\" already exists");
        }
        const auto found = t_.store.findUser(name);
        if (!found) {
            return refused("no user named \"" + name.substr(0, 64) + "\"");
        }
        const store::User& u = *found;
        if (what == "del") {
            if (t_.hub) {
                t_.hub->removeAccount(u, "deleted by the operator", fx_);
            } else {
                t_.store.deleteUser(u.id);
                if (t_.config.retireNames.count() > 0) {
                    t_.store.retireName(u.name, core::unixNow() + t_.config.retireNames.count());
                }
            }
            return done("deleted " + u.name + "\n");
        }
        if (what == "passwd") {
            t_.store.setHash(u.id, r_[3]);
            // As Prosody does: a new password ends the sessions the old one opened.
            endSession(u.name, "", "logged out by a password change");
            return done("password of " + u.name + " changed\n");
        }
        if (what == "disable" || what == "enable") {
            const bool off = what == "disable";
            t_.store.setDisabled(u.id, off);
            if (off) {
                endSession(u.name, "", "disabled by the operator");
            }
            return done((off ? "disabled " : "enabled ") + u.name + "\n");
        }
        if (what == "show") {
            const auto ban = t_.store.banOn(u.name, core::unixNow());
            bool online = false;
            if (t_.hub) {
                for (const auto& s : t_.hub->sessionList()) {
                    online |= core::sameName(s.name, u.name);
                }
            }
            return done("name\t" + u.name + "\ncreated\t" + u.created + " UTC\ndisabled\t" +
                        (u.disabled ? "yes" : "no") + "\nbanned\t" +
                        (ban ? untilText(ban->until) : "no") + "\nbuddies\t" +
                        std::to_string(t_.store.buddies(u.id).size()) + "\nwaiting\t" +
                        std::to_string(t_.store.offlineCount(u.id)) + "\nonline\t" +
                        (online ? "yes" : "no") + "\n");
        }
        return {2, "velmorad: not a command of the control socket\n"};
    }

    Reply sessions() {
        std::string out;
        for (const auto& s : t_.hub->sessionList()) {
            out +=
                s.name + "\t" + s.address + "\t" + s.since + "\t" + (s.tls ? "yes" : "no") + "\n";
        }
        return done(out);
    }

    Reply rooms() {
        std::string out;
        for (const auto& room : t_.hub->roomList()) {
            std::string members;
            for (const auto& m : room.members) {
                members += (members.empty() ? "" : ",") + m;
            }
            out += room.name + "\t" + members + "\t" + std::to_string(room.members.size()) + "\n";
        }
        return done(out);
    }

    Reply bans() {
        std::string out;
        for (const auto& b : t_.store.bans(core::unixNow())) {
            out += b.target + "\t" + (b.until == 0 ? "forever" : core::utcTimestamp(b.until)) +
                   "\t" + b.reason + "\t" + b.created + "\n";
        }
        return done(out);
    }

    Reply kick() {
        const std::string reason = r_.size() == 3 ? r_[2] : std::string();
        if (!isReason(reason)) {
            return refused("the reason must be one line of text without separators");
        }
        return t_.hub->kick(r_[1], reason, "kicked by the operator", fx_)
                   ? done("kicked " + r_[1] + "\n")
                   : refused(r_[1].substr(0, 64) + " is not logged in on this server");
    }

    Reply ban() {
        const std::string reason = r_.size() == 4 ? r_[3] : std::string();
        std::int64_t seconds = -1;
        const auto& s = r_[2];
        const auto [ptr, ec] = std::from_chars(s.data(), s.data() + s.size(), seconds);
        if (ec != std::errc() || ptr != s.data() + s.size() || seconds < 0 || !isReason(reason)) {
            return refused("a ban needs a duration and a reason of one line without separators");
        }
        std::string target = r_[1];
        const auto key = core::addressKey(target);
        if (key) {
            target = *key;
        } else if (const auto u = t_.store.findUser(target)) {
            target = u->name;
        } else {
            return refused("\"" + target.substr(0, 64) + "\" is neither a user nor an address");
        }
        const std::int64_t until = seconds == 0 ? 0 : core::unixNow() + seconds;
        t_.store.putBan({target, until, reason, {}});
        int ended = 0;
        if (t_.hub) {
            ended =
                key ? t_.hub->kickAddress(*key, reason, "banned by the operator", fx_)
                    : static_cast<int>(t_.hub->kick(target, reason, "banned by the operator", fx_));
        }
        return done("banned " + target + " " + untilText(until) +
                    (ended > 0 ? ", " + std::to_string(ended) + " session(s) ended" : "") + "\n");
    }

    void endSession(const std::string& name, std::string_view reason, std::string_view why) {
        if (t_.hub) {
            t_.hub->kick(name, reason, why, fx_);
        }
    }

    const std::vector<std::string>& r_;
    Target t_;
    core::Effects& fx_;
};

} // namespace

bool worksOffline(const std::vector<std::string>& request) {
    return !request.empty() && (request[0] == "user" || request[0] == "ban" ||
                                request[0] == "unban" || request[0] == "bans");
}

Reply execute(const std::vector<std::string>& request, Target target, core::Effects& fx) {
    if (request.empty()) {
        return {2, "velmorad: an empty request\n"};
    }
    if (!target.hub && !worksOffline(request)) {
        return refused(request[0] + " needs a running server");
    }
    try {
        return Run(request, target, fx)();
    } catch (const std::exception& e) {
        return refused(e.what());
    }
}

} // namespace velmora::server::admin
