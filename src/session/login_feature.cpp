#include "app/features.h"

#include "app/client.h"
#include "platform/prompter.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/login_window.h"
#include "shell/main_window.h"

#include <QAction>

namespace velmora {

namespace {

// mnuFileLogInOut: logged in, it logs out (after asking); offline, it only
// brings up the login window.
void logInOut(Client& client) {
    Connection& connection = client.connection();
    if (connection.State() != Connection::Closed &&
        client.ShowMessage(QStringLiteral("Do you wish to disconnect from the IM server?"),
                           style::kYesNoQuestion, QString(),
                           &client.mainWindow()) != answer::kYes) {
        return;
    }
    connection.Close();
    client.OnConnectionClosed();
    client.closeSessionWindows();
    LoginWindow& login = client.loginWindow();
    login.show();
    login.raise();
    login.activateWindow();
}

} // namespace

void installLogin(Client& client) {
    client.dispatcher().setHandler(QStringLiteral("+LI"), [&client](const Record& r) {
        client.loginWindow().OnLoginReply(r.field(1));
    });
    auto* logInOutAction =
        client.mainWindow().findChild<QAction*>(QStringLiteral("mnuFileLogInOut"));
    QObject::connect(logInOutAction, &QAction::triggered, &client,
                     [&client] { client.trap([&client] { logInOut(client); }); });
}

} // namespace velmora
