#include "transfer/file_sender.h"

#include "platform/desktop.h"
#include "session/session.h"

#include <QLabel>
#include <QWidget>

namespace velmora {

bool findFileSender(Session& session, const QString& userName) {
    for (QWidget* window : session.windows()) {
        if (window->objectName() != QLatin1String("frmFileSender")) {
            continue;
        }
        const auto* remoteUser = window->findChild<QLabel*>(QStringLiteral("lblRemoteUser"));
        if (!remoteUser) {
            // A sender window without its label is a fault: the search ends quietly.
            return false;
        }
        if (remoteUser->text().compare(userName, Qt::CaseInsensitive) == 0) {
            session.desktop().bringToFront(window);
            return true;
        }
    }
    return false;
}

} // namespace velmora
