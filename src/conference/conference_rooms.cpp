#include "conference/conference_rooms.h"

#include "conference/conf_window.h"
#include "conference/received_invitation_dialog.h"
#include "session/desktop_notice.h"
#include "session/session.h"

#include <QApplication>
#include <QPointer>

namespace velmora {

ConferenceRooms::ConferenceRooms(Session& session) : QObject(&session), session_(session) {}

ConfWindow& ConferenceRooms::showRoom(const QString& name) {
    room_ = &session_.showSingle(room_.data(), [this] { return new ConfWindow(session_); });
    room_->enterRoom(name);
    return *room_;
}

void ConferenceRooms::sendJoin(const QString& name) {
    session_.joinRoom(name);
}

void ConferenceRooms::onInvitation(const QString& fromWho, const QString& confName,
                                   const QString& message) {
    // The user is elsewhere when no window of the program has the focus.
    const bool elsewhere = QApplication::activeWindow() == nullptr;
    auto* dialog = new ReceivedInvitationDialog(session_, *this, fromWho, confName, message);
    session_.adoptWindow(dialog);
    dialog->show();
    if (elsewhere) {
        QPointer<ReceivedInvitationDialog> invitation(dialog);
        notifyUser(session_, fromWho,
                   QStringLiteral("Invites you to the conference \"") + confName +
                       QStringLiteral("\": ") + firstLine(message),
                   [this, invitation] { session_.desktop().bringToFront(invitation); });
    }
}

void ConferenceRooms::onDetails(bool full, const QStringList& members) {
    if (room_) {
        room_->onDetails(full, members);
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
