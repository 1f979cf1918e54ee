#include "app/features.h"

#include "app/client.h"
#include "contacts/profile.h"
#include "shell/main_window.h"

#include <QAction>

namespace velmora {

void installSearch(Client& client) {
    MainWindow& main = client.mainWindow();
    QObject::connect(main.findChild<QAction*>(QStringLiteral("mnuToolsViewProfile")),
                     &QAction::triggered, &main, [&client] {
                         client.trap([&] {
                             const QString buddy = client.mainWindow().selectedBuddy();
                             if (!buddy.isEmpty()) {
                                 openProfile(client, buddy, &client.mainWindow());
                             }
                         });
                     });
}

} // namespace velmora
