// One user's client for end-to-end tests against the real velmorad: its own
// folder (with the shipped smilie pictures) and doubles, logging in through
// the login window as the user types it.
#pragma once

#include "app/client.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"
#include "support/velmorad_process.h"

#include <memory>

namespace velmora::test {

// Types the details into the login window and clicks "Log In".
void typeIntoLoginWindow(Client& client, const QString& address, const QString& user,
                         const QString& password);
// Logs in through the login window; true once the main window shows the
// user connected and the server's options have arrived.
[[nodiscard]] bool logInThroughLoginWindow(Client& client, const VelmoradProcess& server,
                                           const QString& user, const QString& password);

struct E2eUser {
    explicit E2eUser(QString userName);
    // Replaces the client by a fresh one on the same folder, as when the
    // program is run again.
    void restart();
    [[nodiscard]] bool logIn(const VelmoradProcess& server, const QString& password) {
        return logInThroughLoginWindow(*client, server, name, password);
    }
    // The first session window of class T, or null.
    template <typename T> [[nodiscard]] T* window() const {
        for (QWidget* w : client->windows()) {
            if (auto* t = qobject_cast<T*>(w)) {
                return t;
            }
        }
        return nullptr;
    }

    QString name;
    TempHome home;
    RecordingPrompter prompter;
    RecordingDesktop desktop;
    std::unique_ptr<Client> client;
};

// A server started with these accounts ("name", "password" pairs).
[[nodiscard]] bool startWithUsers(VelmoradProcess& server,
                                  std::initializer_list<std::pair<const char*, const char*>> users);

// With VELMORA_SCREENSHOTS set to a folder (and a real display, e.g.
// xvfb-run with QT_QPA_PLATFORM=xcb), saves a picture of `window` there as
// `file`; true when nothing was asked or the picture was saved.
[[nodiscard]] bool saveScreenshot(QWidget& window, const QString& file);
// Saves a picture of `window` at `path`.
[[nodiscard]] bool grabWindow(QWidget& window, const QString& path);

} // namespace velmora::test
