#include "messaging/install.h"

#include "messaging/offline_arrival.h"
#include "messaging/offline_window.h"
#include "session/main_frame.h"
#include "session/session.h"

#include <QAction>

namespace velmora {

void installOfflineMessages(Session& session) {
    session.onOfflineMessages([&session](const QList<QStringList>& messages) {
        return StoreOfflineMessages(session, messages);
    });
    QObject::connect(session.frame().actions().toolsOfflineMsgs, &QAction::triggered, &session,
                     [&session] { session.trap([&] { ShowOfflineMessages(session); }); });
}

} // namespace velmora
