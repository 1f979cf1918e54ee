#include "shell/install.h"

#include "platform/prompter.h"
#include "session/session.h"
#include "shell/login_window.h"
#include "shell/main_window.h"

#include <QAction>

namespace velmora {

namespace {

// mnuFileLogInOut: logged in, it logs out (after asking); offline, it only
// brings up the login window.
void logInOut(Session& session, MainWindow& main) {
    if (!session.isClosed() &&
        session.showMessage(QStringLiteral("Do you wish to disconnect from the IM server?"),
                            style::kYesNoQuestion, QString(), &main) != answer::kYes) {
        return;
    }
    session.closeConnection();
    session.onConnectionClosed();
    session.closeSessionWindows();
    LoginWindow& login = main.loginWindow();
    login.show();
    login.raise();
    login.activateWindow();
}

} // namespace

void installLogin(Session& session, MainWindow& main) {
    session.onLoginReplied(
        [&main](LoginResult result) { main.loginWindow().onLoginReply(result); });
    QObject::connect(main.actions().fileLogInOut, &QAction::triggered, &session,
                     [&session, &main] { session.trap([&] { logInOut(session, main); }); });
}

} // namespace velmora
