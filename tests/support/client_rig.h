// One client in a fresh folder, with its doubles and a loopback server that
// plays the IM server: what nearly every client test starts from.
#pragma once

#include "app/client.h"
#include "support/loopback_server.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"

#include <QAction>
#include <QByteArray>
#include <QTest>

#include <memory>

namespace velmora::test {

class ClientRig {
public:
    // `ini` becomes the settings file before the client reads it.
    explicit ClientRig(const QByteArray& ini = {});

    // Connects the client's socket to the loopback server.
    [[nodiscard]] bool connect();
    // Connected, with `user` in the session and the main window online: what
    // a successful login leaves, without the login's own records.
    [[nodiscard]] bool logIn(const QString& user);
    // Sends records and waits until `boxes` boxes in all have been shown.
    [[nodiscard]] bool feed(const QByteArray& bytes, qsizetype boxes);
    // Sends records and waits until `done` holds.
    template <typename Done> [[nodiscard]] bool feedUntil(const QByteArray& bytes, Done done) {
        server.send(bytes);
        return QTest::qWaitFor(done, 5000);
    }

    [[nodiscard]] QAction* action(const char* name) const;
    // The first window of the session of class T (and objectName `name`, if
    // given) that is visible, or null.
    template <typename T> [[nodiscard]] T* window(const char* name = nullptr) const {
        const QList<T*> all = windows<T>(name);
        return all.isEmpty() ? nullptr : all.first();
    }
    template <typename T> [[nodiscard]] QList<T*> windows(const char* name = nullptr) const {
        QList<T*> found;
        for (QWidget* w : client.windows()) {
            auto* t = qobject_cast<T*>(w);
            if (t && w->isVisible() && (!name || w->objectName() == QLatin1String(name))) {
                found.append(t);
            }
        }
        return found;
    }
    // A smilie picture as the formatter writes it for this folder.
    [[nodiscard]] QString smilie(const char* file) const;

    TempHome home;
    RecordingPrompter prompter;
    RecordingDesktop desktop;

private:
    std::unique_ptr<Client> owned_;

public:
    Client& client;
    LoopbackServer server;
};

// The control `name` of class T inside `window`.
template <typename T> T* child(const QWidget& window, const char* name) {
    return window.findChild<T*>(QString::fromLatin1(name));
}

} // namespace velmora::test
