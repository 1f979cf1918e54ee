#include "app/client.h"

#include "conference/install.h"
#include "contacts/install.h"
#include "history/install.h"
#include "messaging/install.h"
#include "shell/install.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "transfer/install.h"

#include <QPointer>

namespace velmora {

Client::Client(const QString& appFolder, Prompter& prompter, Desktop& desktop, QObject* parent)
    : QObject(parent), session_(std::make_unique<Session>(appFolder, prompter, desktop)) {
    mainWindow_ = std::make_unique<MainWindow>(*session_);
    // Each feature sets the handlers of the replies it owns and connects the
    // commands that open its windows, in this order.
    Session& s = *session_;
    installLogin(s, *mainWindow_);
    installContacts(s);
    installSearch(s);
    installRegistration(s);
    installShell(s, *mainWindow_);
    installMessaging(s);
    installOfflineMessages(s);
    installConferences(s);
    installTransfer(s);
    installHistory(s);
    QObject::connect(mainWindow_.get(), &MainWindow::buddyActivated, &s,
                     [&s](const QString& name) { s.requestConversation(name); });
}

Client::~Client() {
    // Session windows go first: they refer to the main window and connection.
    session_->deleteSessionWindows();
    session_->setFrame(nullptr);
    mainWindow_.reset();
    session_.reset();
}

void Client::start() {
    mainWindow_->show();
    LoginWindow& login = loginWindow();
    if (session_->preferences().autoConnect != 1) {
        login.show();
        return;
    }
    // The saved details log in without showing the window; if they cannot
    // even be sent, the user gets the window to correct them.
    QPointer<LoginWindow> window(&login);
    login.cmdLogin_Click();
    if (window && !window->awaitingLogin() && session_->values().userName.isEmpty()) {
        window->show();
    }
}

void Client::bringForward() {
    mainWindow_->restoreFromTray();
    if (LoginWindow* login = existingLoginWindow(); login && login->isVisible()) {
        session_->desktop().bringToFront(login);
    }
}

LoginWindow* Client::existingLoginWindow() const {
    return mainWindow_->existingLoginWindow();
}

LoginWindow& Client::loginWindow() {
    return mainWindow_->loginWindow();
}

} // namespace velmora
