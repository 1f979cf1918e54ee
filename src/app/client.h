// One running client: the session with its IM server and the main window
// that shows it. The main window is the session's frame; every other window
// belongs to the session, so two clients can run side by side in one process.
#pragma once

#include "session/session.h"

#include <QObject>
#include <QString>

#include <memory>

namespace velmora {

class Desktop;
class LoginWindow;
class MainWindow;
class Prompter;

class Client : public QObject {
    Q_OBJECT
public:
    Client(const QString& appFolder, Prompter& prompter, Desktop& desktop,
           QObject* parent = nullptr);
    ~Client() override;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] Session& session() { return *session_; }
    [[nodiscard]] const Session& session() const { return *session_; }
    [[nodiscard]] MainWindow& mainWindow() { return *mainWindow_; }

    // Shows the main window and begins the session (the login window, or
    // the automatic connection when it is switched on).
    void start();

    // A later start on the same folder: the main window comes forward, with
    // the login window over it while one is open.
    void bringForward();

    // The login window, created (hidden) when none is open.
    [[nodiscard]] LoginWindow& loginWindow();
    // The login window if one is open, else null.
    [[nodiscard]] LoginWindow* existingLoginWindow() const;

private:
    std::unique_ptr<Session> session_;
    std::unique_ptr<MainWindow> mainWindow_;
};

} // namespace velmora
