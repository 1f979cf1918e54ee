#include "app/app_folder.h"
#include "app/client.h"
#include "app/single_instance.h"
#include "platform/qt_desktop.h"
#include "platform/qt_prompter.h"
#include "shell/main_window.h"

#include <QApplication>

int main(int argc, char* argv[]) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmora"));
    QApplication::setApplicationVersion(velmora::Session::versionField());
    // The tray keeps the client running while its window is hidden.
    QApplication::setQuitOnLastWindowClosed(false);

    const QString home =
        velmora::resolveAppFolder(QApplication::arguments(), QApplication::applicationDirPath());
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
