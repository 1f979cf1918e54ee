#include "transfer/install.h"

#include "platform/prompter.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "transfer/file_sender.h"

#include <QAction>
#include <QWidget>

namespace velmora {

void installTransfer(Session& session) {
    // A file offer: there is no receiving side yet, so it changes nothing.
    session.onFileOffered([] {});
    // No known status carries a meaning yet beyond being valid.
    session.onFileSendAnswered([&session](bool known) {
        if (!known) {
            session.showMessage(
                QStringLiteral("Error: Returned Value For The File Send Reqest Was Invalid!"),
                style::kSystemInfo, session.frame().widget().windowTitle(),
                &session.frame().widget());
        }
    });

    QObject::connect(session.frame().actions().toolsSendFile, &QAction::triggered, &session,
                     [&session] {
                         const QString buddy = session.frame().selectedBuddy();
                         if (!buddy.isEmpty()) {
                             findFileSender(session, buddy);
                         }
                     });
}

} // namespace velmora
