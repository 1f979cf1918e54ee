#include "app/features.h"

#include "app/client.h"
#include "platform/prompter.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"
#include "transfer/file_sender.h"

#include <QAction>

namespace velmora {

namespace {

// Status codes of a file-send answer; none carries a meaning yet beyond
// being valid. Compared exactly.
bool isKnownSendStatus(const QString& status) {
    return status == QLatin1String("SF") || status == QLatin1String("UO") ||
           status == QLatin1String("FD");
}

} // namespace

void installTransfer(Client& client) {
    Dispatcher& d = client.dispatcher();
    // A file offer: there is no receiving side yet, so it changes nothing.
    d.setHandler(QStringLiteral("+FR"), [](const Record&) {});
    d.setHandler(QStringLiteral("+FA"), [&client](const Record& r) {
        if (!isKnownSendStatus(r.field(1))) {
            client.ShowMessage(
                QStringLiteral("Error: Returned Value For The File Send Reqest Was Invalid!"),
                style::kSystemInfo, client.mainWindow().windowTitle(), &client.mainWindow());
        }
    });

    MainWindow& main = client.mainWindow();
    QObject::connect(main.findChild<QAction*>(QStringLiteral("mnuToolsSendFile")),
                     &QAction::triggered, &main, [&client] {
                         const QString buddy = client.mainWindow().selectedBuddy();
                         if (!buddy.isEmpty()) {
                             findFileSender(client, buddy);
                         }
                     });
}

} // namespace velmora
