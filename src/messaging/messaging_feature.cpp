#include "app/features.h"

#include "app/client.h"
#include "messaging/pm_window.h"
#include "messaging/send_pm_dialog.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"

#include <QAction>

namespace velmora {

void installMessaging(Client& client) {
    client.dispatcher().setHandler(QStringLiteral("+PM"), [&client](const Record& r) {
        ReceivePM(client, r.field(1), r.field(2), r.field(3), r.field(4), r.field(5));
    });

    MainWindow& main = client.mainWindow();
    QObject::connect(&main, &MainWindow::buddyActivated, &client, [&client](const QString& name) {
        client.trap([&] { OpenPMWindow(client, name); });
    });
    // The tray's "Send an IM..." runs this same action.
    if (QAction* sendAnIM = main.findChild<QAction*>(QStringLiteral("mnuToolsSendAPM"))) {
        QObject::connect(sendAnIM, &QAction::triggered, &client, [&client] {
            client.trap([&] {
                SendPMDialog dialog(client, &client.mainWindow());
                dialog.exec();
            });
        });
    }
}

} // namespace velmora
