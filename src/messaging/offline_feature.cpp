#include "app/features.h"

#include "app/client.h"
#include "messaging/offline_store.h"
#include "messaging/offline_window.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"

#include <QAction>

namespace velmora {

void installOfflineMessages(Client& client) {
    client.dispatcher().setHandler(QStringLiteral("+OM"), [&client](const Record& record) {
        StoreOfflineMessages(client, record.field(1));
    });
    if (auto* menu =
            client.mainWindow().findChild<QAction*>(QStringLiteral("mnuToolsOfflineMsgs"))) {
        QObject::connect(menu, &QAction::triggered, &client,
                         [&client] { client.trap([&] { ShowOfflineMessages(client, false); }); });
    }
}

} // namespace velmora
