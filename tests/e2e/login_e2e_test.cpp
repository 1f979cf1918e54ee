// Two clients against the real velmorad: logging in through the login
// window, building a buddy list with the add-buddy dialog and watching a
// buddy come and go.
//
// With VELMORA_SCREENSHOTS set to a folder, the test also saves pictures of
// the login window and of the main window there (run it under a real X
// server, e.g. xvfb-run with QT_QPA_PLATFORM=xcb).
#include "app/client.h"
#include "contacts/buddy_list.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"
#include "support/velmorad_process.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;

namespace {

struct User {
    explicit User(QString userName) : name(std::move(userName)) {}
    QString name;
    velmora::test::TempHome home;
    velmora::test::RecordingPrompter prompter;
    velmora::test::RecordingDesktop desktop;
    Client client{home.path(), prompter, desktop};

    template <typename T> T* loginControl(const char* control) {
        return client.loginWindow().findChild<T*>(QString::fromLatin1(control));
    }
    // Types the details into the login window and clicks "Log In".
    void typeLogin(const QString& address, const QString& password) {
        client.loginWindow().show();
        loginControl<QComboBox>("cboHost")->setEditText(address);
        loginControl<QLineEdit>("txtUName")->setText(name);
        loginControl<QLineEdit>("txtPWord")->setText(password);
        QTest::mouseClick(loginControl<QPushButton>("cmdLogin"), Qt::LeftButton);
    }
    bool logIn(const QString& address, const QString& password) {
        typeLogin(address, password);
        return QTest::qWaitFor([&] {
            return client.mainWindow().connectStatus() ==
                   QStringLiteral("-> Connected [") + name + QLatin1Char(']');
        });
    }
    void addBuddy(const QString& buddy) {
        client.mainWindow().findChild<QAction*>(QStringLiteral("mnuToolsAddContact"))->trigger();
        QWidget* dialog = client.findWindowByName(QStringLiteral("frmAddBuddy"));
        dialog->findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(buddy);
        QTest::mouseClick(dialog->findChild<QPushButton*>(QStringLiteral("cmdAddBuddy")),
                          Qt::LeftButton);
    }
    // The key of `buddy`'s node: "n…" online, "f…" offline, empty if absent.
    QString keyOf(const QString& buddy) {
        return BuddyList::keyOf(client.mainWindow().buddies().findBuddy(buddy));
    }
    bool shows(const QString& buddy, char state) {
        return QTest::qWaitFor([&] { return keyOf(buddy).startsWith(QLatin1Char(state)); });
    }
};

void saveScreenshot(QWidget& window, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    if (folder.isEmpty()) {
        return;
    }
    window.show();
    window.raise();
    QTest::qWait(300); // let the window manager place and paint it
    QVERIFY(window.grab().save(QDir(folder).filePath(file)));
}

} // namespace

class LoginE2eTest : public QObject {
    Q_OBJECT

private slots:
    void buddiesComeAndGo() {
        velmora::test::VelmoradProcess server;
        QVERIFY(server.addUser(QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QVERIFY(server.addUser(QStringLiteral("bobby"), QStringLiteral("bobby1")));
        QVERIFY(server.addUser(QStringLiteral("carol1"), QStringLiteral("carol11")));
        QVERIFY(server.start());

        User bobby(QStringLiteral("bobby"));
        User alicia(QStringLiteral("alicia"));
        bobby.client.start();
        QVERIFY(bobby.logIn(server.address(), QStringLiteral("bobby1")));
        QVERIFY(bobby.client.existingLoginWindow() == nullptr);

        bobby.addBuddy(QStringLiteral("alicia"));
        QVERIFY(bobby.shows(QStringLiteral("alicia"), 'f'));
        bobby.addBuddy(QStringLiteral("carol1"));
        QVERIFY(bobby.shows(QStringLiteral("carol1"), 'f'));
        QCOMPARE(bobby.prompter.texts(),
                 (QStringList{QStringLiteral("The user alicia was added to your buddy list!"),
                              QStringLiteral("The user carol1 was added to your buddy list!")}));

        // A name nobody has is refused by the server.
        bobby.addBuddy(QStringLiteral("nobody1"));
        QVERIFY(QTest::qWaitFor([&] { return bobby.prompter.boxes().size() == 4; }));
        QCOMPARE(bobby.prompter.boxes().last().text,
                 QStringLiteral("The username \"nobody1\" is not a valid user!"));
        QCOMPARE(bobby.prompter.boxes().last().style, 4160);

        // A wrong password is refused and leaves alicia offline.
        alicia.typeLogin(server.address(), QStringLiteral("wrong-pass"));
        QVERIFY(QTest::qWaitFor([&] { return !alicia.prompter.boxes().isEmpty(); }));
        QCOMPARE(alicia.prompter.boxes().last().text,
                 QStringLiteral("Error: The login details which you entered were invalid!"));
        QCOMPARE(alicia.client.mainWindow().connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(bobby.keyOf(QStringLiteral("alicia")).startsWith(QLatin1Char('f')));

        // alicia logs in: bobby sees her online and hears it.
        QVERIFY(alicia.logIn(server.address(), QStringLiteral("alicia1")));
        QVERIFY(bobby.shows(QStringLiteral("alicia"), 'n'));
        QCOMPARE(bobby.desktop.sounds().last(), bobby.home.path() + "/Sounds/UserLogin.wav");
        QVERIFY(bobby.keyOf(QStringLiteral("carol1")).startsWith(QLatin1Char('f')));
        QCOMPARE(bobby.client.mainWindow().buddies().onlineBuddies(),
                 QStringList{QStringLiteral("alicia")});
        bobby.client.mainWindow().tvBuddies().setCurrentItem(
            bobby.client.mainWindow().buddies().findBuddy(QStringLiteral("alicia")));
        saveScreenshot(bobby.client.mainWindow(), QStringLiteral("main-window.png"));

        // alicia logs out from the File menu: back to "Offline Buddies".
        alicia.client.mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuFileLogInOut"))
            ->trigger();
        QCOMPARE(alicia.prompter.boxes().last().text,
                 QStringLiteral("Do you wish to disconnect from the IM server?"));
        QVERIFY(bobby.shows(QStringLiteral("alicia"), 'f'));
        QCOMPARE(bobby.desktop.sounds().last(), bobby.home.path() + "/Sounds/UserLogout.wav");
        QVERIFY(bobby.client.mainWindow().buddies().onlineBuddies().isEmpty());

        LoginWindow* login = alicia.client.existingLoginWindow();
        QVERIFY(login && login->isVisible());
        alicia.loginControl<QLineEdit>("txtUName")->setText(QStringLiteral("alicia"));
        alicia.loginControl<QLineEdit>("txtPWord")->setText(QStringLiteral("alicia1"));
        saveScreenshot(*login, QStringLiteral("login.png"));
    }
};

QTEST_MAIN(LoginE2eTest)
#include "login_e2e_test.moc"
