// The user's own account: a new password, or the account deleted. Both
// check the current password on the password pool as a login does, and a
// wrong one counts against the address as a failed login.
#include "core/hub.h"

#include "protocol/account.h"
#include "protocol/names.h"

namespace velmora::server::core {

namespace p = protocol;
namespace outcome = protocol::account;

void Hub::ownAccount(ConnId conn, const Session& me, const p::FieldViews& f, bool change,
                     Effects& fx) {
    const std::string_view code = change ? p::reply::CP : p::reply::DA;
    const std::string what = change ? "password change" : "account deletion";
    const auto answer = [&](std::string_view result, std::string_view why) {
        log_.line(who(conn) + " " + what + ": " + std::string(result) + " (" + std::string(why) +
                  ")");
        fx.reply(conn, code, {result});
    };
    if (!config_.signup) {
        answer(outcome::kRefused, "sign-up is off: only the operator changes accounts");
        return;
    }
    Peer& peer = peers_[conn];
    if (peer.passwordPending) {
        violation(conn, std::string(code) + " while a password is being checked ignored", fx);
        return;
    }
    if (failures_.blocked(peer.address, Clock::now())) {
        answer(outcome::kLimited, "too many failed attempts from this address");
        return;
    }
    if (change && !p::isAcceptablePassword(f[3])) {
        answer(outcome::kInvalid, "the new password breaks the rules");
        return;
    }
    const auto user = store_.findUser(me.name);
    if (!user || user->id != me.id) {
        answer(outcome::kWrongPassword, "the account is gone");
        return;
    }
    peer.passwordPending = true;
    PasswordJob job{change ? PasswordJob::Kind::Change : PasswordJob::Kind::Confirm,
                    conn,
                    user->id,
                    user->name,
                    std::string(f[2]),
                    user->hash,
                    change ? std::string(f[3]) : std::string()};
    fx.passwords.push_back(std::move(job));
}

void Hub::ownAccountDone(const PasswordResult& result, bool overloaded, Effects& fx) {
    const PasswordJob& job = result.job;
    const ConnId conn = job.conn;
    const bool change = job.kind == PasswordJob::Kind::Change;
    const std::string_view code = change ? p::reply::CP : p::reply::DA;
    const std::string what = change ? "password change" : "account deletion";
    const Session* me = sessions_.of(conn);
    if (!me || me->id != job.user) {
        return; // the session ended meanwhile
    }
    const auto answer = [&](std::string_view outcome, std::string_view why) {
        log_.line(who(conn) + " " + what + ": " + std::string(outcome) + " (" + std::string(why) +
                  ")");
        fx.reply(conn, code, {outcome});
    };
    if (overloaded) {
        answer(outcome::kLimited, "password queue full");
        return;
    }
    if (!result.ok) {
        failures_.fail(peers_[conn].address, Clock::now());
        answer(outcome::kWrongPassword, "wrong password");
        return;
    }
    const auto user = store_.findUser(job.name);
    if (!user || user->id != job.user) {
        answer(outcome::kWrongPassword, "the account is gone");
        return;
    }
    if (change) {
        store_.setHash(user->id, result.hash);
        answer(outcome::kDone, "changed");
        return;
    }
    answer(outcome::kDone, "deleted by its user");
    removeAccount(*user, "account deleted by its user", fx);
}

} // namespace velmora::server::core
