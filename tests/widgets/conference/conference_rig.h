// One client logged in as alicia against a loopback server that plays the
// IM server, with helpers to reach the conference windows.
#pragma once

#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "support/client_rig.h"

namespace velmora::test {

struct ConferenceRig : ClientRig {
    bool connect() { return logIn(QStringLiteral("alicia")); }
    ConferenceRooms& rooms() { return *client.findChild<ConferenceRooms*>(); }
    ConfWindow* room() { return rooms().room(); }

    // Opens room "lobby" as the user would, and forgets the join command.
    ConfWindow& openLobby() {
        ConfWindow& room = rooms().showRoom(QStringLiteral("lobby"));
        rooms().sendJoin(QStringLiteral("lobby"));
        (void)server.waitForReceived(" ## cmdCO /:/ alicia /:/ lobby");
        server.clearReceived();
        return room;
    }
};

} // namespace velmora::test
