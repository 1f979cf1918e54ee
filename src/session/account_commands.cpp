#include "session/account_commands.h"

#include "protocol/account.h"
#include "protocol/wire.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/reconnect.h"
#include "session/session.h"
#include "session/wire_text.h"

namespace velmora {

namespace p = protocol;
using Reply = Dispatcher::Reply;

AccountCommands::AccountCommands(Session& session) : session_(session) {}

void AccountCommands::changePassword(const QString& current, const QString& next) {
    const QString user = session_.values().userName;
    session_.connection().SendData(
        text(p::buildCommand(p::kHeadCP, {bytes(user), bytes(current), bytes(next)})));
    change_ = Change{user, next};
}

void AccountCommands::deleteAccount(const QString& password) {
    const QString user = session_.values().userName;
    session_.connection().SendData(
        text(p::buildCommand(p::kHeadDA, {bytes(user), bytes(password)})));
    deletion_ = user;
}

AccountOutcome AccountCommands::outcomeOf(const Record& r) {
    const QString& outcome = r.field(1);
    const std::pair<std::string_view, AccountOutcome> known[] = {
        {p::account::kDone, AccountOutcome::Done},
        {p::account::kWrongPassword, AccountOutcome::WrongPassword},
        {p::account::kInvalid, AccountOutcome::Invalid},
        {p::account::kRefused, AccountOutcome::Refused},
        {p::account::kLimited, AccountOutcome::Limited},
    };
    for (const auto& [code, result] : known) {
        if (outcome == text(code)) {
            return result;
        }
    }
    return AccountOutcome::Unknown;
}

void AccountCommands::onPasswordChanged(
    std::function<void(AccountOutcome, const QString&, const QString&)> handler) {
    session_.dispatcher().setHandler(
        Reply::CP, [this, handler = std::move(handler)](const Record& r) {
            if (!change_) {
                return; // nobody asked
            }
            const Change change = *std::exchange(change_, std::nullopt);
            const AccountOutcome outcome = outcomeOf(r);
            if (outcome == AccountOutcome::Done &&
                session_.values().userName.compare(change.user, Qt::CaseInsensitive) == 0) {
                session_.values().password = change.password;
                session_.reconnect().passwordChanged(change.user, change.password);
            }
            handler(outcome, change.user, change.password);
        });
}

void AccountCommands::onAccountDeleted(
    std::function<void(AccountOutcome, const QString&)> handler) {
    session_.dispatcher().setHandler(
        Reply::DA, [this, handler = std::move(handler)](const Record& r) {
            if (!deletion_) {
                return; // nobody asked
            }
            const QString user = *std::exchange(deletion_, std::nullopt);
            const AccountOutcome outcome = outcomeOf(r);
            if (outcome == AccountOutcome::Done) {
                // The server ends the session now: nothing is left to log in again to.
                session_.closeConnection();
            }
            handler(outcome, user);
        });
}

} // namespace velmora
