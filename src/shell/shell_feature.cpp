#include "shell/install.h"

#include "platform/desktop.h"
#include "session/session.h"
#include "shell/about_box.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "shell/server_list_editor.h"
#include "shell/settings_dialog.h"

#include <QAction>

namespace velmora {

namespace {

// Shows the window named `name`, making it with `make` when none is open.
template <typename Make> void showWindow(Session& session, const char* name, Make make) {
    session.showSingle(session.findWindowByName(QString::fromLatin1(name)), make);
}

void onMenu(Session& session, QAction* item, std::function<void()> action) {
    QObject::connect(item, &QAction::triggered, &session,
                     [&session, action] { session.trap([&] { action(); }); });
}

} // namespace

void installShell(Session& session, MainWindow& main) {
    installAccount(session, main);
    const Actions& actions = main.actions();
    onMenu(session, actions.fileEditServerList, [&session, &main] {
        showWindow(session, "frmSrvLst", [&session, &main] {
            auto* editor = new ServerListEditor(session, &main);
            // A login window already open offers the new list at once.
            QObject::connect(editor, &ServerListEditor::saved, &session, [&main] {
                if (LoginWindow* login = main.existingLoginWindow()) {
                    login->loadServers();
                }
            });
            return editor;
        });
    });
    onMenu(session, actions.editSettings, [&session, &main] {
        showWindow(session, "frmSettings",
                   [&session, &main] { return new SettingsDialog(session, &main); });
    });
    onMenu(session, actions.helpHelp, [&session, &main] {
        session.desktop().showHelp(session.appFolder() + QStringLiteral("/help"),
                                   QStringLiteral("Index.html"), &main);
    });
    onMenu(session, actions.helpAbout, [&session, &main] {
        showWindow(session, "frmAbout", [&main] { return new AboutBox(&main); });
    });
}

} // namespace velmora
