#include "transfer/install.h"

#include "session/main_frame.h"
#include "session/session.h"
#include "transfer/file_sender.h"
#include "transfer/transfers.h"

#include <QAction>
#include <QWidget>

namespace velmora {

void installTransfer(Session& session) {
    // Owned by the session, found through it by the windows that send files.
    new Transfers(session);
    QObject::connect(
        session.frame().actions().toolsSendFile, &QAction::triggered, &session, [&session] {
            sendFile(session, session.frame().selectedBuddy(), &session.frame().widget());
        });
}

} // namespace velmora
