// Logging in and signing up.
#include "core/hub.h"

#include "core/names.h"

namespace velmora::server::core {

namespace p = protocol;

namespace {
constexpr std::size_t kMinNameLength = 5;
constexpr std::size_t kMinPasswordLength = 5;
} // namespace

void Hub::login(ConnId conn, const p::Fields& f, Effects& fx) {
    const std::string& name = f[1];
    const std::string& password = f[2];
    if (sessions_.of(conn)) {
        log_.line(who(conn) + " second cmdLI on a logged-in connection ignored");
        return;
    }
    if (!logins_.allow(addresses_[conn], RateLimiter::Clock::now())) {
        log_.line(who(conn) + " login refused: too many attempts from this address");
        fx.send(conn, p::buildReply(p::reply::LI, {"Login=False"}));
        return;
    }
    if (config_.minVersion) {
        const auto version = parseVersion(f[3]);
        if (!version || *version < *config_.minVersion) {
            log_.line(who(conn) + " login refused: client version \"" + f[3].substr(0, 20) +
                      "\" too old");
            fx.send(conn, p::buildReply(p::reply::LI, {"CUgd"}));
            return;
        }
    }
    const auto user = store_.findUser(name);
    if (!user || !hasher_.verify(user->hash, password)) {
        log_.line(who(conn) + " login refused for \"" + name.substr(0, 40) + "\"");
        fx.send(conn, p::buildReply(p::reply::LI, {"Login=False"}));
        return;
    }
    if (const auto older = sessions_.connectionOf(user->name)) {
        log_.line(who(*older) + " replaced by a new login on #" + std::to_string(conn));
        endSession(*older, fx);
        fx.close.push_back(*older);
    }
    const Session session{user->id, user->name};
    sessions_.attach(conn, session);
    log_.line(who(conn) + " logged in");

    fx.send(conn, p::buildReply(p::reply::LI, {"Login=True"}));
    fx.send(conn, p::buildReply(p::reply::SO,
                                {config_.profileSite, std::to_string(config_.roomLimit), "1"}));
    fx.send(conn, buddyListRecord(session));
    sendOffline(conn, session, fx);
    sendWelcome(conn, session, fx);
    announce(session, p::reply::LOn, fx);
}

void Hub::sendWelcome(ConnId conn, const Session&, Effects& fx) {
    if (!config_.welcome.empty()) {
        fx.send(conn, notice(config_.welcome));
    }
}

void Hub::signUp(ConnId conn, const p::Fields& f, Effects& fx) {
    const std::string& name = f[1];
    const std::string& password = f[2];
    const auto answer = [&](std::string_view outcome) {
        log_.line(who(conn) + " sign-up of \"" + name.substr(0, 40) +
                  "\": " + std::string(outcome));
        fx.send(conn, p::buildReply(p::reply::RU, {outcome, config_.profileSite}));
    };
    if (!config_.signup) {
        answer("RNE");
        return;
    }
    if (!logins_.allow(addresses_[conn], RateLimiter::Clock::now())) {
        log_.line(who(conn) + " sign-up refused: too many attempts from this address");
        return;
    }
    if (store_.findUser(name)) {
        answer("UE");
        return;
    }
    if (!isValidName(name, kMinNameLength, config_.maxNameLength) ||
        password.size() < kMinPasswordLength || password.find(':') != std::string::npos) {
        answer("IN");
        return;
    }
    answer(store_.addUser(name, hasher_.hash(password)) ? "RS" : "UE");
}

} // namespace velmora::server::core
