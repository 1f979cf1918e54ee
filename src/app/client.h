// One running client: the connection to the IM server, the dispatcher, the
// session values, the settings, the main window and every window opened for
// this session. Windows get the Client that owns them instead of reaching
// for globals, so two clients can run side by side in one process.
#pragma once

#include "platform/desktop.h"
#include "session/app_error.h"
#include "session/error_trap.h"
#include "session/session_values.h"
#include "shell/settings.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QWidget>

#include <memory>

namespace velmora {

class Connection;
class Desktop;
class Dispatcher;
class LoginWindow;
class MainWindow;
class Prompter;

class Client : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kAppTitle = "Velmora";

    Client(const QString& appFolder, Prompter& prompter, Desktop& desktop,
           QObject* parent = nullptr);
    ~Client() override;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] QString appFolder() const { return appFolder_; }
    [[nodiscard]] Settings& settings() { return settings_; }
    [[nodiscard]] const MainWindowValues& values() const { return values_; }
    [[nodiscard]] MainWindowValues& values() { return values_; }
    [[nodiscard]] Prompter& prompter() { return prompter_; }
    [[nodiscard]] Desktop& desktop() { return desktop_; }
    [[nodiscard]] Connection& connection() { return *connection_; }
    [[nodiscard]] Dispatcher& dispatcher() { return *dispatcher_; }
    [[nodiscard]] SessionValues& session() { return session_; }
    [[nodiscard]] MainWindow& mainWindow() { return *mainWindow_; }

    // Shows the main window and begins the session (the login window, or
    // the automatic connection when it is switched on).
    void start();

    // The login window, created (hidden) when none is open.
    [[nodiscard]] LoginWindow& loginWindow();
    // The login window if one is open, else null.
    [[nodiscard]] LoginWindow* existingLoginWindow() const;

    // The client version as the login and sign-up commands carry it ("1.4").
    [[nodiscard]] static QString versionField();

    // The message-box procedure: an empty title means the application title.
    int ShowMessage(const QString& text, int style, const QString& title = QString(),
                    QWidget* owner = nullptr);
    // The error report: error 40006 disconnects instead of showing a box.
    void ReportError(const AppError& error, const QString& routine = QString());
    // Runs `action` under the error trap.
    template <typename Action> void trap(const QString& routine, Action&& action) noexcept {
        runTrapped([this](const AppError& e, const QString& r) { ReportError(e, r); }, routine,
                   std::forward<Action>(action));
    }
    template <typename Action> void trap(Action&& action) noexcept {
        trap(QString(), std::forward<Action>(action));
    }

    // The disconnect procedure: every step is attempted even if one fails.
    void OnConnectionClosed();

    // Windows opened for this session ("all open windows" of the client).
    void adoptWindow(QWidget* window);
    [[nodiscard]] QList<QWidget*> windows() const;
    // The open window whose caption equals `caption`, ignoring case.
    [[nodiscard]] QWidget* findWindowByCaption(const QString& caption) const;
    // The first open window of type T, or null.
    template <class T> [[nodiscard]] T* findWindow() const {
        for (QWidget* window : windows()) {
            if (auto* found = qobject_cast<T*>(window)) {
                return found;
            }
        }
        return nullptr;
    }
    // The open window with this objectName (a form's name), or null.
    [[nodiscard]] QWidget* findWindowByName(const QString& name) const;
    // The one way to show a window that is open at most once: `open`, found
    // by the caller by caption, name or type, is brought forward; without
    // one, the window `make` returns joins this session's windows and shows.
    template <class W, class Make> W& showSingle(W* open, Make&& make) {
        if (open) {
            desktop_.bringToFront(open);
            return *open;
        }
        W* window = std::forward<Make>(make)();
        adoptWindow(window);
        window->show();
        return *window;
    }
    // Closes every window of the session except the main window.
    void closeSessionWindows();

    // Plays a sound file without waiting; a missing file plays nothing.
    void PlaySoundFile(const QString& path);

private:
    void registerHandlers();

    QString appFolder_;
    Settings settings_;
    MainWindowValues values_;
    Prompter& prompter_;
    Desktop& desktop_;
    SessionValues session_;
    std::unique_ptr<Connection> connection_;
    std::unique_ptr<Dispatcher> dispatcher_;
    std::unique_ptr<MainWindow> mainWindow_;
    QList<QPointer<QWidget>> windows_;
    QPointer<LoginWindow> loginWindow_;
};

} // namespace velmora
