// One client logged in as alicia against a loopback server that plays the
// IM server, with helpers to reach the conference windows.
#pragma once

#include "app/client.h"
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "session/connection.h"
#include "shell/main_window.h"
#include "support/loopback_server.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"

#include <QTest>

namespace velmora::test {

struct ConferenceRig {
    TempHome home;
    RecordingPrompter prompter;
    RecordingDesktop desktop;
    Client client{home.path(), prompter, desktop};
    LoopbackServer server;

    ConferenceRig() { client.session().userName = QStringLiteral("alicia"); }

    bool connect() {
        Connection& c = client.connection();
        c.setRemoteHost(QStringLiteral("127.0.0.1"));
        c.setRemotePort(server.port());
        c.Connect();
        if (!QTest::qWaitFor([&] { return c.State() == Connection::Connected; }, 5000) ||
            !server.waitForPeer()) {
            return false;
        }
        // What a successful login does to the main window.
        client.mainWindow().setToolbarOnline();
        return true;
    }

    ConferenceRooms& rooms() { return *client.findChild<ConferenceRooms*>(); }
    ConfWindow* room() { return rooms().room(); }

    // The open window of the session with this objectName, or null.
    template <typename T> T* window(const char* name) {
        for (QWidget* w : client.windows()) {
            if (w->objectName() == QLatin1String(name) && w->isVisible()) {
                return qobject_cast<T*>(w);
            }
        }
        return nullptr;
    }
    template <typename T> QList<T*> windows(const char* name) {
        QList<T*> found;
        for (QWidget* w : client.windows()) {
            if (w->objectName() == QLatin1String(name) && w->isVisible()) {
                found.append(qobject_cast<T*>(w));
            }
        }
        return found;
    }

    // Opens room "lobby" as the user would, and forgets the join command.
    ConfWindow& openLobby() {
        ConfWindow& room = rooms().showRoom(QStringLiteral("lobby"));
        rooms().sendJoin(QStringLiteral("lobby"));
        server.waitForReceived(" ## cmdCO /:/ alicia /:/ lobby");
        server.clearReceived();
        return room;
    }

    // Sends records and waits until `done` holds.
    template <typename Done> bool feed(const QByteArray& bytes, Done done) {
        server.send(bytes);
        return QTest::qWaitFor(done, 5000);
    }
};

} // namespace velmora::test
