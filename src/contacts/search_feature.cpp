#include "app/features.h"

#include "app/client.h"
#include "contacts/profile.h"
#include "contacts/search_window.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"

#include <QAction>

namespace velmora {

void installSearch(Client& client) {
    client.dispatcher().setHandler(QStringLiteral("+SU"), [&client](const Record& r) {
        searchWindow(client).onSearchReply(r.field(1));
    });

    MainWindow& main = client.mainWindow();
    QObject::connect(main.findChild<QAction*>(QStringLiteral("mnuToolsSearchUsers")),
                     &QAction::triggered, &main, [&client] {
                         client.trap([&] {
                             SearchUsersWindow& window = searchWindow(client);
                             window.show();
                             window.raise();
                             window.activateWindow();
                         });
                     });
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
