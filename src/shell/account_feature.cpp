// The user's own account from the Tools menu: the two windows, and what
// their answers change beyond them. A password changed on the server is
// saved where the old one was saved; a deleted account is forgotten and its
// session ends as a logout does.
#include "shell/install.h"

#include "platform/prompter.h"
#include "session/account_commands.h"
#include "session/session.h"
#include "settings/settings.h"
#include "shell/change_password_window.h"
#include "shell/delete_account_window.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "shell/saved_password.h"

#include <QAction>

namespace velmora {

namespace {

bool sameUser(const QString& a, const QString& b) {
    return a.compare(b, Qt::CaseInsensitive) == 0;
}

// Only a password that was saved for this account is replaced.
void followSavedPassword(Session& session, const QString& user, const QString& password) {
    Settings& settings = session.settings();
    const QString saved = settings.loginUser();
    if (settings.loginCheck() != 1 || !sameUser(saved, user)) {
        return;
    }
    SavedPassword& keeper = SavedPassword::of(session);
    if (!keeper.load(saved).isEmpty()) {
        keeper.save(saved, password);
    }
}

void forgetSavedLogin(Session& session, const QString& user) {
    Settings& settings = session.settings();
    const QString saved = settings.loginUser();
    if (saved.isEmpty() || !sameUser(saved, user)) {
        return;
    }
    settings.setLoginUser(QString());
    SavedPassword::of(session).forget(saved);
    // Nobody is left to log in as at start.
    settings.setLoginAutoConnect(false);
}

void onPasswordChanged(Session& session, MainWindow& main, AccountOutcome outcome,
                       const QString& user, const QString& password) {
    if (outcome == AccountOutcome::Done) {
        followSavedPassword(session, user, password);
    }
    auto* window = session.findWindow<ChangePasswordWindow>();
    if (!window) {
        // Closed while waiting: the answer still counts.
        session.showMessage(outcome == AccountOutcome::Done
                                ? QStringLiteral("Your password has been changed.")
                                : accountOutcomeText(outcome, false),
                            style::kOk, QString(), &main);
    } else if (outcome == AccountOutcome::Done) {
        window->onChanged();
    } else {
        window->onFailure(outcome);
    }
}

void onAccountDeleted(Session& session, MainWindow& main, AccountOutcome outcome,
                      const QString& user) {
    if (outcome != AccountOutcome::Done) {
        if (auto* window = session.findWindow<DeleteAccountWindow>()) {
            window->onFailure(outcome);
        } else {
            session.showMessage(accountOutcomeText(outcome, true), style::kOk, QString(), &main);
        }
        return;
    }
    const QString server = sessionServerName(session);
    forgetSavedLogin(session, user);
    session.onConnectionClosed();
    session.closeSessionWindows();
    LoginWindow& login = main.loginWindow();
    login.show();
    login.raise();
    login.activateWindow();
    session.showMessage(QStringLiteral("The account %1 on %2 has been deleted.").arg(user, server),
                        style::kOk, QString(), &login);
}

template <typename Window> void showAccountWindow(Session& session, MainWindow& main) {
    session.showSingle(session.findWindow<Window>(), [&] { return new Window(session, &main); });
}

} // namespace

void installAccount(Session& session, MainWindow& main) {
    AccountCommands& account = session.account();
    account.onPasswordChanged(
        [&session, &main](AccountOutcome outcome, const QString& user, const QString& password) {
            onPasswordChanged(session, main, outcome, user, password);
        });
    account.onAccountDeleted([&session, &main](AccountOutcome outcome, const QString& user) {
        onAccountDeleted(session, main, outcome, user);
    });
    const Actions& actions = main.actions();
    QObject::connect(actions.toolsChangePassword, &QAction::triggered, &session, [&session, &main] {
        session.trap([&] { showAccountWindow<ChangePasswordWindow>(session, main); });
    });
    QObject::connect(actions.toolsDeleteAccount, &QAction::triggered, &session, [&session, &main] {
        session.trap([&] { showAccountWindow<DeleteAccountWindow>(session, main); });
    });
}

} // namespace velmora
