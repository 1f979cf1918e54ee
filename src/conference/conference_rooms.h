// The conference side of one session: the single room window, the
// invitation dialogs, and the room records the server sends (+CI, +CDet,
// +CO, +CE, +CM). A record for a room window that is not open is dropped.
#pragma once

#include "conference/conf_window.h"

#include <QObject>
#include <QPointer>
#include <QString>

namespace velmora {

class Client;

class ConferenceRooms : public QObject {
    Q_OBJECT
public:
    explicit ConferenceRooms(Client& client);

    // The room window, or null when none is open.
    [[nodiscard]] ConfWindow* room() const { return room_.data(); }

    // Loads the room window (or reuses the open one) for the room `name`
    // and shows it. The join command is sent separately.
    ConfWindow& showRoom(const QString& name);
    // " ## cmdCO /:/ " + user + " /:/ " + name.
    void sendJoin(const QString& name);

    void onInvitation(const QString& fromWho, const QString& confName, const QString& message);
    void onDetails(const QString& details);
    void onEntered(const QString& name);
    void onLeft(const QString& name);
    void onMessage(const QString& sender, const QString& text, const QString& fontName,
                   const QString& fontSize, const QString& style);

private:
    Client& client_;
    QPointer<ConfWindow> room_;
};

} // namespace velmora
