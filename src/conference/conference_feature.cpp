#include "conference/install.h"

#include "conference/conf_open_dialog.h"
#include "conference/conference_rooms.h"
#include "session/main_frame.h"
#include "session/session.h"

#include <QAction>

namespace velmora {

void installConferences(Session& session) {
    // Owned by the session: it lives as long as the session's windows.
    auto* rooms = new ConferenceRooms(session);
    session.onRoomInvitation(
        [rooms](const QString& from, const QString& room, const QString& message) {
            rooms->onInvitation(from, room, message);
        });
    session.onRoomDetails(
        [rooms](bool full, const QStringList& members) { rooms->onDetails(full, members); });
    session.onRoomMemberEntered([rooms](const QString& name) { rooms->onEntered(name); });
    session.onRoomMemberLeft([rooms](const QString& name) { rooms->onLeft(name); });
    session.onRoomMessage([rooms](const ChatLine& line) {
        rooms->onMessage(line.sender, line.text, line.fontName, line.fontSize, line.style);
    });

    QObject::connect(session.frame().actions().toolsOpenConference, &QAction::triggered, rooms,
                     [&session, rooms] {
                         session.trap([&] {
                             auto* dialog = new ConfOpenDialog(session, *rooms);
                             session.adoptWindow(dialog);
                             dialog->show();
                         });
                     });
}

} // namespace velmora
