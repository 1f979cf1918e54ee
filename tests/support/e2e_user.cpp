#include "support/e2e_user.h"

#include "session/login_window.h"
#include "shell/main_window.h"

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

namespace velmora::test {

void typeIntoLoginWindow(Client& client, const QString& address, const QString& user,
                         const QString& password) {
    LoginWindow& login = client.loginWindow();
    login.show();
    login.findChild<QComboBox*>(QStringLiteral("cboHost"))->setEditText(address);
    login.findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(user);
    login.findChild<QLineEdit*>(QStringLiteral("txtPWord"))->setText(password);
    QTest::mouseClick(login.findChild<QPushButton*>(QStringLiteral("cmdLogin")), Qt::LeftButton);
}

bool logInThroughLoginWindow(Client& client, const VelmoradProcess& server, const QString& user,
                             const QString& password) {
    typeIntoLoginWindow(client, server.address(), user, password);
    const QString connected = QStringLiteral("-> Connected [") + user + QLatin1Char(']');
    return QTest::qWaitFor(
        [&] {
            return client.mainWindow().connectStatus() == connected &&
                   client.session().intServerLimit > 0;
        },
        10000);
}

E2eUser::E2eUser(QString userName) : name(std::move(userName)) {
    const QDir smilies(QStringLiteral(VELMORA_ASSETS "/Smilies"));
    QDir(home.path()).mkdir(QStringLiteral("Smilies"));
    for (const QString& file : smilies.entryList(QDir::Files)) {
        QFile::copy(smilies.filePath(file), home.filePath(QStringLiteral("Smilies/") + file));
    }
    restart();
}

void E2eUser::restart() {
    client.reset();
    client = std::make_unique<Client>(home.path(), prompter, desktop);
}

bool startWithUsers(VelmoradProcess& server,
                    std::initializer_list<std::pair<const char*, const char*>> users) {
    for (const auto& [user, password] : users) {
        if (!server.addUser(QString::fromLatin1(user), QString::fromLatin1(password))) {
            return false;
        }
    }
    return server.start();
}

bool saveScreenshot(QWidget& window, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    return folder.isEmpty() || grabWindow(window, QDir(folder).filePath(file));
}

bool grabWindow(QWidget& window, const QString& path) {
    window.show();
    window.raise();
    window.activateWindow();
    if (!QTest::qWaitForWindowExposed(&window)) {
        return false;
    }
    QTest::qWait(300); // let the window manager place and paint it
    return window.grab().save(path);
}

} // namespace velmora::test
