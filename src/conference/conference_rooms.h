// The conference side of one session: the single room window, the
// invitation dialogs, and the room replies the server sends (invitation,
// members, entered, left, message). A reply for a room window that is not
// open is dropped.
#pragma once

#include "conference/conf_window.h"

#include <QObject>
#include <QPointer>
#include <QString>

namespace velmora {

class Session;

class ConferenceRooms : public QObject {
    Q_OBJECT
public:
    explicit ConferenceRooms(Session& session);

    // The room window, or null when none is open.
    [[nodiscard]] ConfWindow* room() const { return room_.data(); }

    // Loads the room window (or reuses the open one) for the room `name`
    // and shows it. The join command is sent separately.
    ConfWindow& showRoom(const QString& name);
    // Asks the server to let the user into the room `name`.
    void sendJoin(const QString& name);

    void onInvitation(const QString& fromWho, const QString& confName, const QString& message);
    void onDetails(bool full, const QStringList& members);
    void onEntered(const QString& name);
    void onLeft(const QString& name);
    void onMessage(const QString& sender, const QString& text, const QString& fontName,
                   const QString& fontSize, const QString& style);

private:
    Session& session_;
    QPointer<ConfWindow> room_;
};

} // namespace velmora
