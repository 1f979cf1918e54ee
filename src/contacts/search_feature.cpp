#include "contacts/install.h"

#include "contacts/profile.h"
#include "contacts/search_window.h"
#include "session/main_frame.h"
#include "session/session.h"

#include <QAction>

namespace velmora {

void installSearch(Session& session) {
    session.onSearchResults(
        [&session](const QStringList& names) { searchWindow(session).onSearchReply(names); });

    const Actions& actions = session.frame().actions();
    QObject::connect(actions.toolsSearchUsers, &QAction::triggered, &session, [&session] {
        session.trap([&] {
            SearchUsersWindow& window = searchWindow(session);
            window.show();
            window.raise();
            window.activateWindow();
        });
    });
    QObject::connect(actions.toolsViewProfile, &QAction::triggered, &session, [&session] {
        session.trap([&] {
            const QString buddy = session.frame().selectedBuddy();
            if (!buddy.isEmpty()) {
                openProfile(session, buddy, &session.frame().widget());
            }
        });
    });
}

} // namespace velmora
