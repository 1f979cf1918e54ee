#include "conference/conference_rooms.h"

#include "app/client.h"
#include "conference/conf_window.h"
#include "conference/invitation_dialog.h"
#include "session/connection.h"

namespace velmora {

ConferenceRooms::ConferenceRooms(Client& client) : QObject(&client), client_(client) {}

ConfWindow& ConferenceRooms::showRoom(const QString& name) {
    room_ = &client_.showSingle(room_.data(), [this] { return new ConfWindow(client_); });
    room_->enterRoom(name);
    return *room_;
}

void ConferenceRooms::sendJoin(const QString& name) {
    client_.connection().SendData(QStringLiteral(" ## cmdCO /:/ ") + client_.session().userName +
                                  QStringLiteral(" /:/ ") + name);
}

void ConferenceRooms::onInvitation(const QString& fromWho, const QString& confName,
                                   const QString& message) {
    auto* dialog = new InvitationDialog(client_, *this, fromWho, confName, message);
    client_.adoptWindow(dialog);
    dialog->show();
}

void ConferenceRooms::onDetails(const QString& details) {
    if (room_) {
        room_->onDetails(details);
    }
}

void ConferenceRooms::onEntered(const QString& name) {
    if (room_) {
        room_->onMemberEntered(name);
    }
}

void ConferenceRooms::onLeft(const QString& name) {
    if (room_) {
        room_->onMemberLeft(name);
    }
}

void ConferenceRooms::onMessage(const QString& sender, const QString& text, const QString& fontName,
                                const QString& fontSize, const QString& style) {
    if (room_) {
        room_->onMessage(sender, text, fontName, fontSize, style);
    }
}

} // namespace velmora
