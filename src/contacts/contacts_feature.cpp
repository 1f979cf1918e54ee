#include "app/features.h"

#include "app/client.h"
#include "contacts/add_buddy_dialog.h"
#include "contacts/buddy_list.h"
#include "messaging/chat_window.h"
#include "platform/desktop.h"
#include "platform/prompter.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"

#include <QAction>
#include <QTime>

namespace velmora {

namespace {

// Tells every open conversation with `name` that the buddy came or went.
void writePresenceNotice(Client& client, const QString& name, const QString& event) {
    const QString caption = (name + QStringLiteral(" - Instant Message")).toUpper();
    for (QWidget* window : client.windows()) {
        auto* conversation = dynamic_cast<MessageWindow*>(window);
        if (!conversation || window->windowTitle().toUpper() != caption) {
            continue;
        }
        QString text = name + QLatin1Char(' ') + event + QStringLiteral(" (") +
                       QTime::currentTime().toString(Qt::TextDate) + QLatin1Char(')');
        AppendMessageHtml(text, QStringLiteral("#FF0000"), QStringLiteral("&lt;Client&gt;"),
                          QStringLiteral("MS Sans Serif"), QStringLiteral("9"),
                          conversation->messageView(), QString(), formatterOptions(client));
    }
}

void onPresence(Client& client, const QString& name, bool online) {
    BuddyList& buddies = client.mainWindow().buddies();
    if (online) {
        buddies.onLoggedIn(name);
    } else {
        buddies.onLoggedOut(name);
    }
    const SoundSetting& sound = online ? client.values().userLogin : client.values().userLogout;
    if (sound.enabled == 1) {
        client.PlaySoundFile(sound.path);
    }
    writePresenceNotice(client, name,
                        online ? QStringLiteral("Logged In") : QStringLiteral("Logged Out"));
}

void showAddBuddy(Client& client) {
    client.showSingle(client.findWindowByName(QStringLiteral("frmAddBuddy")),
                      [&client] { return new AddBuddyDialog(client, &client.mainWindow()); });
}

void deleteSelectedBuddy(Client& client) {
    const QString name = client.mainWindow().selectedBuddy();
    if (name.isEmpty()) {
        return;
    }
    if (client.ShowMessage(QStringLiteral("Do you really wish to delete the user \"") + name +
                               QStringLiteral("\" from your buddy list?"),
                           style::kYesNoQuestion, QStringLiteral("Delete Buddy"),
                           &client.mainWindow()) != answer::kYes) {
        return;
    }
    client.connection().SendData(QStringLiteral(" ## cmdDB /:/ ") + client.session().userName +
                                 QStringLiteral(" /:/ ") + name);
}

void onMenu(Client& client, const char* name, void (*action)(Client&)) {
    auto* item = client.mainWindow().findChild<QAction*>(QString::fromLatin1(name));
    QObject::connect(item, &QAction::triggered, &client,
                     [&client, action] { client.trap([&] { action(client); }); });
}

} // namespace

void installContacts(Client& client) {
    Dispatcher& d = client.dispatcher();
    d.setHandler(QStringLiteral("+BL"), [&client](const Record& r) {
        client.mainWindow().buddies().onBuddyList(r.field(1));
    });
    d.setHandler(QStringLiteral("+LOn"),
                 [&client](const Record& r) { onPresence(client, r.field(1), true); });
    d.setHandler(QStringLiteral("+LOff"),
                 [&client](const Record& r) { onPresence(client, r.field(1), false); });
    onMenu(client, "mnuToolsAddContact", showAddBuddy);
    onMenu(client, "mnuToolsDeleteContact", deleteSelectedBuddy);
}

} // namespace velmora
