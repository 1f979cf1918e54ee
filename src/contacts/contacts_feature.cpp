#include "app/features.h"

#include "app/client.h"
#include "contacts/buddy_list.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"

namespace velmora {

void installContacts(Client& client) {
    Dispatcher& d = client.dispatcher();
    d.setHandler(QStringLiteral("+BL"), [&client](const Record& r) {
        client.mainWindow().buddies().onBuddyList(r.field(1));
    });
    d.setHandler(QStringLiteral("+LOn"), [&client](const Record& r) {
        client.mainWindow().buddies().onLoggedIn(r.field(1));
    });
    d.setHandler(QStringLiteral("+LOff"), [&client](const Record& r) {
        client.mainWindow().buddies().onLoggedOut(r.field(1));
    });
}

} // namespace velmora
