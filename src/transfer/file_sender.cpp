#include "transfer/file_sender.h"

#include "platform/desktop.h"
#include "session/session.h"
#include "transfer/transfers.h"

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

void sendFile(Session& session, const QString& userName, QWidget* owner) {
    session.trap([&] {
        if (userName.isEmpty() || findFileSender(session, userName)) {
            return;
        }
        if (auto* transfers = session.findChild<Transfers*>()) {
            transfers->chooseAndOffer(userName, owner);
        }
    });
}

void offerFiles(Session& session, const QString& userName, const QStringList& paths) {
    session.trap([&] {
        if (auto* transfers = session.findChild<Transfers*>()) {
            for (const QString& path : paths) {
                transfers->offerFile(userName, path);
            }
        }
    });
}

} // namespace velmora
