// Two clients against the real velmorad: logging in through the login
// window, building a buddy list with the add-buddy dialog and watching a
// buddy come and go. With VELMORA_SCREENSHOTS set, also pictures of the
// main window and the login window.
#include "contacts/buddy_list.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "support/e2e.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

QAction* action(E2eUser& user, const char* name) {
    return user.client->mainWindow().findChild<QAction*>(QString::fromLatin1(name));
}

void addBuddy(E2eUser& user, const QString& buddy) {
    action(user, "mnuToolsAddContact")->trigger();
    QWidget* dialog = user.client->findWindowByName(QStringLiteral("frmAddBuddy"));
    dialog->findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(buddy);
    QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdAddBuddy")),
                      Qt::LeftButton);
}

// Waits until `buddy`'s node key starts with `state`: 'n' online, 'f' offline.
bool shows(E2eUser& user, const QString& buddy, char state) {
    return QTest::qWaitFor([&] {
        return BuddyList::keyOf(user.client->mainWindow().buddies().findBuddy(buddy))
            .startsWith(QLatin1Char(state));
    });
}

} // namespace

class LoginE2eTest : public QObject {
    Q_OBJECT

private slots:
    void buddiesComeAndGo() {
        test::VelmoradProcess server(
            {{"alicia", "alicia1"}, {"bobby", "bobby1"}, {"carol1", "carol11"}});
        QVERIFY(server.start());
        E2eUser bobby(QStringLiteral("bobby"));
        E2eUser alicia(QStringLiteral("alicia"));
        bobby.client->start();
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(bobby.client->existingLoginWindow() == nullptr);

        addBuddy(bobby, QStringLiteral("alicia"));
        QVERIFY(shows(bobby, QStringLiteral("alicia"), 'f'));
        addBuddy(bobby, QStringLiteral("carol1"));
        QVERIFY(shows(bobby, QStringLiteral("carol1"), 'f'));
        // A name nobody has is refused by the server.
        addBuddy(bobby, QStringLiteral("nobody1"));
        QVERIFY(QTest::qWaitFor([&] { return bobby.prompter.boxes.size() == 4; }));
        QCOMPARE(bobby.prompter.texts().first(),
                 QStringLiteral("The user alicia was added to your buddy list!"));
        QCOMPARE(bobby.prompter.texts().last(),
                 QStringLiteral("The username \"nobody1\" is not a valid user!"));

        // A wrong password is refused and leaves alicia offline.
        test::typeIntoLoginWindow(*alicia.client, server.address(), alicia.name,
                                  QStringLiteral("wrong-pass"));
        QVERIFY(QTest::qWaitFor([&] { return !alicia.prompter.boxes.isEmpty(); }));
        QCOMPARE(alicia.prompter.texts().last(),
                 QStringLiteral("Error: The login details which you entered were invalid!"));
        QCOMPARE(alicia.client->mainWindow().connectStatus(), QStringLiteral("-> Disconnected"));

        // alicia logs in: bobby sees her online and hears it.
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QVERIFY(shows(bobby, QStringLiteral("alicia"), 'n'));
        QCOMPARE(bobby.desktop.sounds.last(), bobby.home.path() + "/Sounds/UserLogin.wav");
        QCOMPARE(bobby.client->mainWindow().buddies().onlineBuddies(), QStringList{"alicia"});
        bobby.client->mainWindow().tvBuddies().setCurrentItem(
            bobby.client->mainWindow().buddies().findBuddy(QStringLiteral("alicia")));
        QVERIFY(
            test::saveScreenshot(bobby.client->mainWindow(), QStringLiteral("main-window.png")));

        // alicia logs out from the File menu: back to "Offline Buddies".
        action(alicia, "mnuFileLogInOut")->trigger();
        QVERIFY(shows(bobby, QStringLiteral("alicia"), 'f'));
        QCOMPARE(bobby.desktop.sounds.last(), bobby.home.path() + "/Sounds/UserLogout.wav");
        LoginWindow* login = alicia.client->existingLoginWindow();
        QVERIFY(login && login->isVisible());
        login->findChild<QLineEdit*>(QStringLiteral("txtPWord"))->setText("alicia1");
        QVERIFY(test::saveScreenshot(*login, QStringLiteral("login.png")));
    }
};

QTEST_MAIN(LoginE2eTest)
#include "login_e2e_test.moc"
