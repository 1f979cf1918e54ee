#include "app/app_folder.h"
#include "app/client.h"
#include "app/command_line.h"
#include "app/single_instance.h"
#include "platform/qt_desktop.h"
#include "platform/qt_prompter.h"
#include "shell/main_window.h"

#include <QApplication>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmora"));
    QApplication::setApplicationVersion(QStringLiteral(VELMORA_VERSION));
    // Ties the windows to the menu entry and its icon.
    QApplication::setDesktopFileName(QStringLiteral("chat.velmora.Velmora"));
    // The tray keeps the client running while its window is hidden.
    QApplication::setQuitOnLastWindowClosed(false);

    const velmora::CommandLine options = velmora::parseCommandLine(QApplication::arguments());
    const QString home =
        velmora::resolveAppFolder(options.home, QApplication::applicationDirPath());
    velmora::SingleInstance instance(home);
    if (!instance.claim()) {
        if (instance.activateRunning()) {
            return 0;
        }
        qCritical("velmora: a client already runs on %s and does not answer", qPrintable(home));
        return 1;
    }
    velmora::QtPrompter prompter;
    velmora::QtDesktop desktop;
    velmora::Client client(home, prompter, desktop);
    QObject::connect(&client.mainWindow(), &velmora::MainWindow::exitRequested, &app,
                     &QApplication::quit);
    QObject::connect(&instance, &velmora::SingleInstance::activationRequested, &client,
                     &velmora::Client::bringForward);
    client.start();
    return QApplication::exec();
}
