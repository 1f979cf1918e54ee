#include "app/features.h"

#include "app/client.h"
#include "platform/desktop.h"
#include "session/login_window.h"
#include "shell/about_box.h"
#include "shell/main_window.h"
#include "shell/server_list_editor.h"
#include "shell/settings_dialog.h"

#include <QAction>

namespace velmora {

namespace {

// Shows the window named `name`, making it with `make` when none is open.
template <typename Make> void showWindow(Client& client, const char* name, Make make) {
    client.showSingle(client.findWindowByName(QString::fromLatin1(name)), make);
}

void onMenu(Client& client, const char* name, std::function<void()> action) {
    auto* item = client.mainWindow().findChild<QAction*>(QString::fromLatin1(name));
    QObject::connect(item, &QAction::triggered, &client,
                     [&client, action] { client.trap([&] { action(); }); });
}

} // namespace

void installShell(Client& client) {
    MainWindow& main = client.mainWindow();
    onMenu(client, "mnuFileEditServerList", [&client, &main] {
        showWindow(client, "frmSrvLst", [&client, &main] {
            auto* editor = new ServerListEditor(client, &main);
            // A login window already open offers the new list at once.
            QObject::connect(editor, &ServerListEditor::saved, &client, [&client] {
                if (LoginWindow* login = client.existingLoginWindow()) {
                    login->loadServers();
                }
            });
            return editor;
        });
    });
    onMenu(client, "mnuEditSettings", [&client, &main] {
        showWindow(client, "frmSettings",
                   [&client, &main] { return new SettingsDialog(client, &main); });
    });
    onMenu(client, "mnuHelpHelp", [&client, &main] {
        client.desktop().showHelp(client.appFolder() + QStringLiteral("/help"),
                                  QStringLiteral("Index.html"), &main);
    });
    onMenu(client, "mnuHelpAbout", [&client, &main] {
        showWindow(client, "frmAbout", [&main] { return new AboutBox(&main); });
    });
}

} // namespace velmora
