#include "contacts/install.h"

#include "contacts/add_buddy_dialog.h"
#include "controls/buddy_list.h"
#include "platform/desktop.h"
#include "platform/prompter.h"
#include "session/main_frame.h"
#include "session/session.h"

#include <QAction>

namespace velmora {

namespace {

void onPresence(Session& session, const QString& name, bool online) {
    BuddyList& buddies = session.frame().buddies();
    if (online) {
        buddies.onLoggedIn(name);
    } else {
        buddies.onLoggedOut(name);
    }
    const SoundSetting& sound =
        online ? session.preferences().userLogin : session.preferences().userLogout;
    if (sound.enabled == 1) {
        session.playSoundFile(sound.path);
    }
}

void showAddBuddy(Session& session) {
    session.showSingle(session.findWindowByName(QStringLiteral("frmAddBuddy")), [&session] {
        return new AddBuddyDialog(session, &session.frame().widget());
    });
}

void deleteSelectedBuddy(Session& session) {
    const QString name = session.frame().selectedBuddy();
    if (name.isEmpty()) {
        return;
    }
    if (session.showMessage(QStringLiteral("Do you really wish to delete the user \"") + name +
                                QStringLiteral("\" from your buddy list?"),
                            style::kYesNoQuestion, QStringLiteral("Delete Buddy"),
                            &session.frame().widget()) != answer::kYes) {
        return;
    }
    session.deleteBuddy(name);
}

void onMenu(Session& session, QAction* item, void (*action)(Session&)) {
    QObject::connect(item, &QAction::triggered, &session,
                     [&session, action] { session.trap([&] { action(session); }); });
}

} // namespace

void installContacts(Session& session) {
    session.onBuddyList([&session](const QList<BuddyListItem>& items) {
        session.frame().buddies().onBuddyList(items);
    });
    session.addPresenceHandler(
        [&session](const QString& name, bool online) { onPresence(session, name, online); });
    const Actions& actions = session.frame().actions();
    onMenu(session, actions.toolsAddContact, showAddBuddy);
    onMenu(session, actions.toolsDeleteContact, deleteSelectedBuddy);
}

} // namespace velmora
