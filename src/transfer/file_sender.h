// Send File from the main window, a message window or a room: the open
// file-sender window for that user comes forward; without one, the user
// chooses a file and it is offered. The window is named "frmFileSender" and
// its label `lblRemoteUser` names the remote user.
#pragma once

#include <QString>
#include <QStringList>

class QWidget;

namespace velmora {

class Session;

// Brings forward the open file-sender window for `userName` and returns
// true; returns false, doing nothing else, when there is none.
bool findFileSender(Session& session, const QString& userName);

// The Send File command for `userName`.
void sendFile(Session& session, const QString& userName, QWidget* owner);

// Offers each of these files (dropped on a conversation) to `userName`.
void offerFiles(Session& session, const QString& userName, const QStringList& paths);

} // namespace velmora
