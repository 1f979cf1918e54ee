// Logging in and out, and signing up, through the real windows against a
// loopback server that plays the IM server: the checks before connecting,
// the bytes sent, each answer, and servers that do not answer.
#include "app/client.h"
#include "session/app_error.h"
#include "session/connect_wait.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/login_window.h"
#include "session/registration_window.h"
#include "shell/main_window.h"
#include "shell/server_list.h"
#include "support/client_rig.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

using namespace velmora;
using velmora::test::child;

namespace {

const QString kInvalidInfo = QStringLiteral("Error: You have not entered valid information!");

struct Rig : velmora::test::ClientRig {
    Rig() { client.loginWindow().show(); }
    LoginWindow& login() { return client.loginWindow(); }
    template <typename T> T* control(const char* name) { return child<T>(login(), name); }
    void tryLogin(const QString& host, const QString& user = QStringLiteral("alicia"),
                  const QString& password = QStringLiteral("secret1")) {
        control<QComboBox>("cboHost")->setEditText(host);
        control<QLineEdit>("txtUName")->setText(user);
        control<QLineEdit>("txtPWord")->setText(password);
        QTest::mouseClick(control<QPushButton>("cmdLogin"), Qt::LeftButton);
    }
    // Logs in as alicia as far as the command the server receives.
    bool sendLogin() {
        server.received.clear();
        tryLogin(server.address());
        return server.waitForReceived(" ## cmdLI /:/ alicia /:/ secret1 /:/ 1.4");
    }
    bool offline() {
        return client.connection().State() == Connection::Closed &&
               client.mainWindow().connectStatus() == QStringLiteral("-> Disconnected") &&
               control<QPushButton>("cmdLogin")->isEnabled() &&
               !control<QTimer>("tmrShow")->isActive();
    }
    RegistrationWindow& signUp(const QString& host, const char* user, const char* password,
                               const char* confirm) {
        showRegistrationWindow(client);
        RegistrationWindow& window = *findRegistrationWindow(client);
        child<QLineEdit>(window, "txtHost")->setText(host);
        child<QLineEdit>(window, "txtUName")->setText(QString::fromLatin1(user));
        child<QLineEdit>(window, "txtPWord")->setText(QString::fromLatin1(password));
        child<QLineEdit>(window, "txtPWordConfirm")->setText(QString::fromLatin1(confirm));
        window.cmdSignUp_Click();
        return window;
    }
};

bool controlsEnabled(QWidget& window) {
    for (QWidget* control : window.findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        if (!control->isEnabled()) {
            return false;
        }
    }
    return true;
}

} // namespace

class LoginWindowTest : public QObject {
    Q_OBJECT

private slots:
    void badInputIsRefusedBeforeAnyConnection() {
        Rig rig;
        const QString badName = QStringLiteral("Error: You entered an invalid username:\r\n"
                                               "Usernames can only contain Alpha-Numberic Chars!");
        const struct {
            const char *user, *password, *host;
            QString message;
        } cases[] = {
            {"alic", "secret1", "127.0.0.1", kInvalidInfo},
            {"alicia", "secr", "127.0.0.1", kInvalidInfo},
            {"alicia", "sec:ret1", "127.0.0.1", kInvalidInfo},
            {"alicia", "secret1", "h", kInvalidInfo},
            {"ali cia", "secret1", "127.0.0.1", badName},
            {"ali.cia", "secret1", "127.0.0.1", badName},
        };
        for (const auto& c : cases) {
            rig.tryLogin(c.host, c.user, c.password);
            QCOMPARE(rig.prompter.texts().last(), c.message);
            QCOMPARE(rig.prompter.boxes.last().title, QStringLiteral("Input Error"));
        }
        QCOMPARE(rig.prompter.boxes.size(), qsizetype(std::size(cases)));
        QCOMPARE(rig.client.connection().State(), int(Connection::Closed));
    }

    void aLoginGoesOnlineSavesTheDetailsAndLogsOutOnRequest() {
        Rig rig;
        MainWindow& main = rig.client.mainWindow();
        rig.control<QCheckBox>("chkSaveDetails")->setChecked(true);
        QVERIFY(rig.sendLogin());
        // While the answer is awaited the controls are off and the timer runs.
        QVERIFY(!rig.control<QLineEdit>("txtUName")->isEnabled());
        QVERIFY(!rig.control<QPushButton>("cmdLogin")->isEnabled());
        QCOMPARE(rig.control<QTimer>("tmrShow")->interval(), 60000);
        QCOMPARE(rig.sent(), QByteArray(" ## cmdLI /:/ alicia /:/ secret1 /:/ 1.4"));

        QPointer<LoginWindow> window(&rig.login());
        QVERIFY(rig.feed(" ## +LI /$/ Login=True", [&] { return window.isNull(); }));
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Connected [alicia]"));
        QCOMPARE(main.trayTip(), QStringLiteral("Velmora - alicia"));
        QCOMPARE(main.trayImage(), MainWindow::kImageOnline);
        QCOMPARE(rig.client.session().password, QStringLiteral("secret1"));
        QVERIFY(main.toolbarButton(1)->isEnabled() &&
                rig.action("mnuToolsAddContact")->isEnabled());
        const QByteArray ini = rig.home.readFile(QStringLiteral("Velmora.ini"));
        for (const QByteArray& line :
             QList<QByteArray>{"L-User=alicia", "L-Pass=secret1", "L-Auto-Connect=0", "L-Check=1",
                               "L-Host=" + rig.server.address().toUtf8()}) {
            QVERIFY2(ini.contains(line), line.constData());
        }
        QVERIFY(rig.prompter.boxes.isEmpty());

        // Logging out asks first; No keeps the session.
        rig.prompter.answers = {answer::kNo, answer::kYes};
        rig.action("mnuFileLogInOut")->trigger();
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Do you wish to disconnect from the IM server?"));
        QCOMPARE(rig.prompter.boxes.last().style, 36);
        QCOMPARE(rig.client.connection().State(), int(Connection::Connected));
        rig.action("mnuFileLogInOut")->trigger();
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(!rig.action("mnuToolsAddContact")->isEnabled());
        // The new login window shows the saved details.
        LoginWindow* again = rig.client.existingLoginWindow();
        QVERIFY(again && again->isVisible());
        QCOMPARE(child<QLineEdit>(*again, "txtUName")->text(), QStringLiteral("alicia"));
        QVERIFY(child<QCheckBox>(*again, "chkSaveDetails")->isChecked());
        // Offline, the same command only shows the window, without asking.
        rig.action("mnuFileLogInOut")->trigger();
        QCOMPARE(rig.prompter.boxes.size(), 2);
    }

    void refusedOrUnansweredLoginsLeaveTheClientOffline() {
        Rig rig;
        const struct {
            QByteArray answer;
            QString message;
        } cases[] = {
            {"Login=False", "Error: The login details which you entered were invalid!"},
            {"CUgd", "Error: To login to this I.M. server you will need to upgrade your I.M. "
                     "client to the latest version!"},
            {"login=true", "Error: The server response was invalid!\r\nYou may need to upgrade "
                           "your I.M. Client!"},
        };
        for (const auto& c : cases) {
            QVERIFY(rig.sendLogin());
            QVERIFY(rig.feedBoxes(" ## +LI /$/ " + c.answer, rig.prompter.boxes.size() + 1));
            QCOMPARE(rig.prompter.texts().last(), c.message);
            QCOMPARE(rig.prompter.boxes.last().title, QStringLiteral("Velmora"));
            QVERIFY(rig.offline());
            QVERIFY(rig.client.session().userName.isEmpty());
        }
        // Without "save details" nothing of the user's is written.
        QVERIFY(!rig.home.readFile(QStringLiteral("Velmora.ini")).contains("L-User=alicia"));

        // No answer: the 60 s time-out, shortened, as only what happens when it fires matters.
        QVERIFY(rig.sendLogin());
        rig.control<QTimer>("tmrShow")->setInterval(1);
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 4; }));
        QVERIFY(rig.offline());
        // A server that drops the connection is known at once.
        QVERIFY(rig.sendLogin());
        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 5; }));
        QVERIFY(rig.offline());
        // Nobody listening: the connect wait ends with the same message.
        const QString dead = test::deadAddress();
        rig.tryLogin(dead);
        QCOMPARE(rig.client.connection().RemotePort(), dead.section(':', 1).toUShort());
        QCOMPARE(rig.prompter.texts().mid(3), QStringList(3, connectionProblemText()));
        QVERIFY(rig.offline());
    }

    void addressesTakeTheDefaultPortAndAreCheckedAsTyped() {
        // Without a colon the default port is used (here the loopback's, so
        // that no test dials a real server); a port out of range is refused.
        Rig rig;
        connectToAddress(rig.client.connection(), QStringLiteral("127.0.0.1"), rig.server.port());
        QVERIFY(rig.server.waitForPeer());
        for (const char* address : {"127.0.0.1:0", "127.0.0.1:65536"}) {
            try {
                connectToAddress(rig.client.connection(), QString::fromLatin1(address), 1);
                QFAIL(address);
            } catch (const AppError& e) {
                QCOMPARE(e.number, 380);
            }
        }
        // Only one colon in an address.
        QLineEdit* host = rig.control<QComboBox>("cboHost")->lineEdit();
        host->setText(QStringLiteral("im.example.org:7000"));
        QTest::keyClick(host, Qt::Key_Colon);
        QCOMPARE(host->text(), QStringLiteral("im.example.org:7000"));
        QCOMPARE(rig.prompter.beeps, 1);
        // The sign-up page lives on the server's web site.
        QTest::mouseClick(rig.control<QPushButton>("cmdRegister"), Qt::LeftButton);
        QCOMPARE(rig.desktop.urls,
                 QStringList{"http://im.example.org:88/modules.php?name=Your_Account&op=new_user"});
        // Enter anywhere logs in (here refused: no user name); Escape leaves.
        QTest::keyClick(rig.control<QCheckBox>("chkAutoLogin"), Qt::Key_Return);
        QCOMPARE(rig.prompter.texts(), QStringList{kInvalidInfo});
        QPointer<LoginWindow> window(&rig.login());
        QTest::keyClick(rig.control<QLineEdit>("txtPWord"), Qt::Key_Escape);
        QVERIFY(QTest::qWaitFor([&] { return window.isNull(); }));
    }

    void startLogsInWithTheSavedDetailsWhenAutoConnectIsOn() {
        velmora::test::ClientRig rig("[Login Options]\r\nL-User=bobby\r\nL-Pass=bobby1\r\n"
                                     "L-Check=1\r\nL-Auto-Connect=1\r\n");
        server_list::save(rig.client.settings().serverListPath(), {rig.server.address()});
        Client client(rig.home.path(), rig.prompter, rig.desktop);
        client.start();
        QVERIFY(rig.server.waitForReceived(" ## cmdLI /:/ bobby /:/ bobby1 /:/ 1.4"));
        QVERIFY(!client.loginWindow().isVisible());
        rig.server.send(" ## +LI /$/ Login=True");
        QVERIFY(QTest::qWaitFor([&] { return client.existingLoginWindow() == nullptr; }));
        QCOMPARE(client.mainWindow().connectStatus(), QStringLiteral("-> Connected [bobby]"));

        // With it off the window is shown and offers the saved server.
        Client manual(rig.home.path(), rig.prompter, rig.desktop);
        manual.settings().setLoginAutoConnect(false);
        manual.values().autoConnect = 0;
        manual.start();
        QVERIFY(manual.loginWindow().isVisible());
        QCOMPARE(child<QComboBox>(manual.loginWindow(), "cboHost")->currentText(),
                 rig.server.address());
    }

    void signUpChecksInOrderSendsOneCommandAndShowsEachAnswer() {
        Rig rig;
        const char* cases[][4] = {
            {"bob by", "ab:c", "x", "Error: Usernames can only contain Alpha-Numeric Characters!"},
            {"bobb", "secret", "secret",
             "Error: Usernames & Passwords must be at least 5 characters long!"},
            {"bobby", "abcd", "abcd",
             "Error: Usernames & Passwords must be at least 5 characters long!"},
            {"bobby", "sec:ret", "other", "Error: Passwords cannot contain a \":\" character!"},
            {"bobby", "secret", "Secret", "Error: The passwords you entered did not match!"},
        };
        for (const auto& c : cases) {
            RegistrationWindow& window = rig.signUp(rig.server.address(), c[0], c[1], c[2]);
            QCOMPARE(rig.prompter.texts().last(), QString::fromLatin1(c[3]));
            QCOMPARE(rig.prompter.boxes.last().owner, &window);
            QVERIFY(controlsEnabled(window));
        }
        QCOMPARE(rig.client.connection().State(), int(Connection::Closed)); // never tried

        rig.prompter.reset();
        RegistrationWindow& window =
            rig.signUp(rig.server.address(), "new_user-1", "p4ss word", "p4ss word");
        QCOMPARE(rig.sent(), QByteArray(" ## cmdRA /:/ new_user-1 /:/ p4ss word /:/ 1.4"));
        QVERIFY(!controlsEnabled(window));
        const char* answers[][2] = {
            {"RS", "Success: Your account has been created for use on this server!"},
            {"UE", "Error: There is already a user with that username!"},
            {"RNE", "Error: Registration via the client is not enabled on this server!\r\nGo To: "
                    "\"http://site.example/modules.php?name=Your_Account\" To Register!"},
            {"rs",
             "Error: Response was not valid!\r\nPossible problems with server compatibility!"},
        };
        for (const auto& answer : answers) {
            QVERIFY(
                rig.feedBoxes(" ## +RU /$/ " + QByteArray(answer[0]) + " /$/ http://site.example",
                              rig.prompter.boxes.size() + 1));
            QCOMPARE(rig.prompter.texts().last(), QString::fromLatin1(answer[1]));
            QCOMPARE(rig.prompter.boxes.last().owner, &window);
            QVERIFY(controlsEnabled(window));
        }
        // The connection stays open for the login that follows.
        QCOMPARE(rig.client.connection().State(), int(Connection::Connected));

        // An answer with no window opens one.
        Rig fresh;
        fresh.client.dispatcher().dispatchBatch(QStringLiteral(" ## +RU /$/ UE /$/ "));
        QVERIFY(findRegistrationWindow(fresh.client));
        QCOMPARE(fresh.prompter.texts(),
                 QStringList{"Error: There is already a user with that username!"});

        // A server that cannot be reached is reported.
        RegistrationWindow& unreached =
            fresh.signUp(test::deadAddress(), "bobby", "secret", "secret");
        QCOMPARE(fresh.prompter.texts().last(),
                 "There was a problem when trying to connect to the I.M. server!\r\nEither the "
                 "server is down, or you entered an incorrect server address.\r\nPlease use a "
                 "different server address, or try again later!");
        QVERIFY(controlsEnabled(unreached));
    }
};

QTEST_MAIN(LoginWindowTest)
#include "login_window_test.moc"
