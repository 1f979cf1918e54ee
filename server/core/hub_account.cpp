// Logging in and signing up. Passwords are checked and hashed by the
// password pool: the hub asks for the work and finishes the login or sign-up
// when the result comes back.
#include "core/hub.h"

#include "core/clock.h"
#include "core/names.h"
#include "protocol/names.h"
#include "protocol/receipts.h"

namespace velmora::server::core {

namespace p = protocol;

void Hub::login(ConnId conn, const p::FieldViews& f, Effects& fx) {
    const std::string name(f[1]);
    const std::string password(f[2]);
    Peer& peer = peers_[conn];
    if (sessions_.of(conn) || peer.passwordPending) {
        violation(conn, "cmdLI on a connection that is logged in or logging in ignored", fx);
        return;
    }
    // A field after the version asks for an extension; a client that does
    // not ask gets the plain protocol, byte for byte.
    peer.receipts = f.size() > 4 && f[4] == p::kReceiptsToken;
    const auto now = Clock::now();
    if (failures_.blocked(peer.address, now)) {
        log_.line(who(conn) + " login refused: too many failed attempts from this address");
        fx.send(conn, p::buildReply(p::reply::LI, {"Login=False"}));
        return;
    }
    if (config_.minVersion) {
        const auto version = parseVersion(f[3]);
        if (!version || *version < *config_.minVersion) {
            log_.line(who(conn) + " login refused: client version \"" +
                      std::string(f[3].substr(0, 20)) + "\" too old");
            fx.send(conn, p::buildReply(p::reply::LI, {"CUgd"}));
            return;
        }
    }
    const auto user = store_.findUser(name);
    if (barred(conn, user ? &*user : nullptr)) {
        fx.send(conn, p::buildReply(p::reply::LI, {"Login=False"}));
        return;
    }
    if (user && credentials_.matches(user->id, user->name, password, user->hash, now)) {
        loginAccepted(conn, *user, fx);
        return;
    }
    peer.passwordPending = true;
    fx.passwords.push_back({PasswordJob::Kind::Verify, conn, user ? user->id : 0,
                            user ? user->name : name.substr(0, 64), password,
                            user ? user->hash : decoyHash_});
}

void Hub::loginAccepted(ConnId conn, const store::User& user, Effects& fx) {
    if (const auto older = sessions_.connectionOf(user.name)) {
        log_.line(who(*older) + " replaced by a new login on #" + std::to_string(conn));
        endSession(*older, fx);
        fx.close.push_back({*older, "replaced by a new login"});
    }
    Session session{user.id, user.name};
    session.receipts = peers_[conn].receipts;
    session.since = localTimestamp();
    // In a cluster the buddies hear of the login when the bus brings it back.
    const auto claim = cluster_ ? cluster_->claim(user.name, session.receipts) : std::nullopt;
    session.claim = claim.value_or(0);
    sessions_.attach(conn, session);
    log_.line(who(conn) + " logged in" + (session.receipts ? " (receipts)" : ""));

    fx.send(conn, p::buildReply(p::reply::LI, {"Login=True"}));
    if (session.receipts) {
        fx.send(conn, p::buildReply(p::reply::RC, {storeId_}));
    }
    fx.send(conn, p::buildReply(p::reply::SO,
                                {config_.profileSite, std::to_string(config_.roomLimit), "1"}));
    fx.send(conn, buddyListRecord(session));
    fx.mailboxes.push_back(conn);
    if (!cluster_) {
        announce(session, p::reply::LOn, fx);
    } else if (!claim) {
        noteOnline(cluster_->self(), user.name, 0, session.receipts, fx); // the bus is out of reach
    }
}

Effects Hub::passwordDone(const PasswordResult& result, bool overloaded) {
    Effects fx;
    const PasswordJob& job = result.job;
    const ConnId conn = job.conn;
    const auto peer = peers_.find(conn);
    if (peer == peers_.end()) {
        return fx; // the connection ended meanwhile
    }
    peer->second.passwordPending = false;
    if (job.kind == PasswordJob::Kind::Change || job.kind == PasswordJob::Kind::Confirm) {
        ownAccountDone(result, overloaded, fx);
        return fx;
    }
    const bool isLogin = job.kind == PasswordJob::Kind::Verify;
    if (overloaded) {
        log_.line(who(conn) + (isLogin ? " login" : " sign-up") + " refused: password queue full");
        if (isLogin) { // a refused sign-up gets no answer, as under the attempt limit
            fx.send(conn, p::buildReply(p::reply::LI, {"Login=False"}));
        }
        return fx;
    }
    if (!isLogin) {
        const bool added =
            !store_.isRetired(job.name, unixNow()) && store_.addUser(job.name, result.hash);
        answerSignUp(conn, job.name, added ? "RS" : "UE", fx);
        return fx;
    }
    if (!result.ok) {
        failures_.fail(peer->second.address, Clock::now());
        log_.line(who(conn) + " login refused for \"" + job.name.substr(0, 40) + "\"");
        fx.send(conn, p::buildReply(p::reply::LI, {"Login=False"}));
        return fx;
    }
    if (!result.hash.empty()) {
        store_.setHash(job.user, result.hash);
        log_.line(who(conn) + " password hash of " + job.name + " upgraded to the current cost");
    }
    const auto user = store_.findUser(job.name);
    // A ban may have come while the password was being checked.
    if (!user || user->id != job.user || barred(conn, &*user)) {
        fx.send(conn, p::buildReply(p::reply::LI, {"Login=False"}));
        return fx;
    }
    credentials_.remember(user->id, user->name, job.password, user->hash, Clock::now());
    loginAccepted(conn, *user, fx);
    return fx;
}

void Hub::answerSignUp(ConnId conn, std::string_view name, std::string_view outcome, Effects& fx) {
    log_.line(who(conn) + " sign-up of \"" + std::string(name.substr(0, 40)) +
              "\": " + std::string(outcome));
    fx.send(conn, p::buildReply(p::reply::RU, {outcome, config_.profileSite}));
}

void Hub::signUp(ConnId conn, const p::FieldViews& f, Effects& fx) {
    const std::string name(f[1]);
    const std::string password(f[2]);
    const auto answer = [&](std::string_view outcome) { answerSignUp(conn, name, outcome, fx); };
    if (!config_.signup) {
        answer("RNE");
        return;
    }
    Peer& peer = peers_[conn];
    const auto now = Clock::now();
    if (peer.passwordPending || failures_.blocked(peer.address, now)) {
        log_.line(who(conn) + " sign-up refused: too many attempts from this address");
        return;
    }
    // Every sign-up costs a hash, so each one counts against the address.
    failures_.fail(peer.address, now);
    // A deleted account's name stays taken for a while, so that nobody
    // takes it over from those who knew its owner.
    if (store_.findUser(name) || store_.isRetired(name, unixNow())) {
        answer("UE");
        return;
    }
    if (!isValidName(name, protocol::kMinNameLength, config_.maxNameLength) ||
        !protocol::isAcceptablePassword(password)) {
        answer("IN");
        return;
    }
    peer.passwordPending = true;
    fx.passwords.push_back({PasswordJob::Kind::Hash, conn, 0, name, password, {}});
}

} // namespace velmora::server::core
