// The user's own account: changing its password and deleting it. Both
// commands carry the current password again; the server answers each with
// one outcome. The session part remembers what it asked for, so that an
// answer nobody asked for changes nothing, and a password changed on the
// server is the one a reconnect logs in with.
#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace velmora {

class Record;
class Session;

enum class AccountOutcome { Done, WrongPassword, Invalid, Refused, Limited, Unknown };

class AccountCommands {
public:
    // Takes the "+CP" and "+DA" replies of the session's dispatcher.
    explicit AccountCommands(Session& session);

    // cmdCP for the logged-in user.
    void changePassword(const QString& current, const QString& next);
    // cmdDA for the logged-in user.
    void deleteAccount(const QString& password);

    // The answer to the change. On success the session already logs in
    // with the new password; `user` and `password` are the account's.
    void onPasswordChanged(
        std::function<void(AccountOutcome, const QString& user, const QString& password)> handler);
    // The answer to the deletion, with the account it was asked for (the
    // server may already have closed the session, and the session with it
    // forgotten its user).
    void onAccountDeleted(std::function<void(AccountOutcome, const QString& user)> handler);

    // A command waits for its answer.
    [[nodiscard]] bool changeAwaited() const { return change_.has_value(); }
    [[nodiscard]] bool deletionAwaited() const { return deletion_.has_value(); }

private:
    struct Change {
        QString user;
        QString password;
    };
    [[nodiscard]] static AccountOutcome outcomeOf(const Record& r);

    Session& session_;
    std::optional<Change> change_;
    std::optional<QString> deletion_; // the user
};

} // namespace velmora
