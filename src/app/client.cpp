#include "app/client.h"

#include "app/features.h"
#include "platform/desktop.h"
#include "platform/prompter.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/login_window.h"
#include "session/offline_aware.h"
#include "shell/main_window.h"

namespace velmora {

Client::Client(const QString& appFolder, Prompter& prompter, Desktop& desktop, QObject* parent)
    : QObject(parent), appFolder_(appFolder), settings_(appFolder), prompter_(prompter),
      desktop_(desktop), connection_(std::make_unique<Connection>()) {
    dispatcher_ = std::make_unique<Dispatcher>(
        *connection_, [this](const QString& routine, const std::function<void()>& action) {
            trap(routine, action);
        });
    connect(connection_.get(), &Connection::closed, this, [this] { OnConnectionClosed(); });
    // The main window reads its settings when it loads.
    trap([this] { values_ = settings_.loadMainWindowValues(); });
    mainWindow_ = std::make_unique<MainWindow>(*this);
    registerHandlers();
}

Client::~Client() {
    // Session windows go first: they refer to the main window and connection.
    for (const QPointer<QWidget>& window : windows_) {
        delete window.data();
    }
    delete loginWindow_.data();
    dispatcher_.reset();
    connection_.reset();
    mainWindow_.reset();
}

void Client::start() {
    mainWindow_->show();
    LoginWindow& login = loginWindow();
    if (values_.autoConnect != 1) {
        login.show();
        return;
    }
    // The saved details log in without showing the window; if they cannot
    // even be sent, the user gets the window to correct them.
    QPointer<LoginWindow> window(&login);
    login.cmdLogin_Click();
    if (window && !window->awaitingLogin() && session_.userName.isEmpty()) {
        window->show();
    }
}

LoginWindow* Client::existingLoginWindow() const {
    return loginWindow_.data();
}

LoginWindow& Client::loginWindow() {
    if (!loginWindow_) {
        loginWindow_ = new LoginWindow(*this, mainWindow_.get());
    }
    return *loginWindow_;
}

QString Client::versionField() {
    return QString::number(VELMORA_VERSION_MAJOR) + QLatin1Char('.') +
           QString::number(VELMORA_VERSION_MINOR);
}

int Client::ShowMessage(const QString& text, int style, const QString& title, QWidget* owner) {
    const QString shownTitle = title.isEmpty() ? QString::fromLatin1(kAppTitle) : title;
    return prompter_.show(text, style, shownTitle, owner);
}

void Client::ReportError(const AppError& error, const QString& routine) {
    if (error.number == err::kWrongProtocolOrConnectionState) {
        OnConnectionClosed();
        return;
    }
    ShowMessage(errorReportText(error, routine), style::kExclamation, QString(), mainWindow_.get());
}

void Client::OnConnectionClosed() {
    // Each step on its own: a failing step must not keep the client online.
    auto step = [](auto&& action) {
        try {
            action();
        } catch (...) {
        }
    };
    step([&] {
        connection_->Close();
        connection_->setLocalPort(0);
    });
    step([&] { mainWindow_->setConnectStatus(QStringLiteral("-> Disconnected")); });
    step([&] { mainWindow_->resetBuddyTree(); });
    step([&] {
        session_.lngNodeKey = 2;
        session_.strProfileSite.clear();
        session_.userName.clear();
        session_.password.clear();
    });
    step([&] {
        for (QWidget* window : windows()) {
            if (auto* aware = dynamic_cast<OfflineAware*>(window)) {
                aware->onConnectionLost();
            }
        }
    });
    step([&] { mainWindow_->setToolbarOffline(); });
    step([&] { mainWindow_->SetTrayStatus(MainWindow::kImageOffline, QStringLiteral("Offline")); });
}

void Client::adoptWindow(QWidget* window) {
    windows_.removeAll(nullptr);
    if (!windows_.contains(window)) {
        windows_.append(window);
    }
}

QList<QWidget*> Client::windows() const {
    QList<QWidget*> open;
    for (const QPointer<QWidget>& window : windows_) {
        if (window) {
            open.append(window.data());
        }
    }
    return open;
}

QWidget* Client::findWindowByCaption(const QString& caption) const {
    const QString wanted = caption.toUpper();
    for (QWidget* window : windows()) {
        if (window->windowTitle().toUpper() == wanted) {
            return window;
        }
    }
    return nullptr;
}

QWidget* Client::findWindowByName(const QString& name) const {
    for (QWidget* window : windows()) {
        if (window->objectName() == name) {
            return window;
        }
    }
    return nullptr;
}

void Client::closeSessionWindows() {
    for (QWidget* window : windows()) {
        window->close();
        window->deleteLater();
    }
    windows_.clear();
}

void Client::PlaySoundFile(const QString& path) {
    desktop_.playSound(path);
}

void Client::registerHandlers() {
    installServerNotices(*this);
    installLogin(*this);
    installContacts(*this);
    installSearch(*this);
    installRegistration(*this);
    installShell(*this);
    installMessaging(*this);
    installOfflineMessages(*this);
    installConferences(*this);
    installTransfer(*this);
}

} // namespace velmora
