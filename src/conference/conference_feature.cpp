#include "app/features.h"

#include "app/client.h"
#include "conference/conf_open_dialog.h"
#include "conference/conference_rooms.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"

#include <QAction>

namespace velmora {

void installConferences(Client& client) {
    // Owned by the client: it lives as long as the session's windows.
    auto* rooms = new ConferenceRooms(client);
    Dispatcher& dispatcher = client.dispatcher();
    dispatcher.setHandler(QStringLiteral("+CI"), [rooms](const Record& r) {
        rooms->onInvitation(r.field(1), r.field(2), r.field(3));
    });
    dispatcher.setHandler(QStringLiteral("+CDet"),
                          [rooms](const Record& r) { rooms->onDetails(r.field(1)); });
    dispatcher.setHandler(QStringLiteral("+CO"),
                          [rooms](const Record& r) { rooms->onEntered(r.field(1)); });
    dispatcher.setHandler(QStringLiteral("+CE"),
                          [rooms](const Record& r) { rooms->onLeft(r.field(1)); });
    dispatcher.setHandler(QStringLiteral("+CM"), [rooms](const Record& r) {
        rooms->onMessage(r.field(1), r.field(2), r.field(3), r.field(4), r.field(5));
    });

    auto* open = client.mainWindow().findChild<QAction*>(QStringLiteral("mnuToolsOpenConference"));
    QObject::connect(open, &QAction::triggered, rooms, [&client, rooms] {
        client.trap([&] {
            auto* dialog = new ConfOpenDialog(client, *rooms);
            client.adoptWindow(dialog);
            dialog->show();
        });
    });
}

} // namespace velmora
