// Logging in and out through the real login window against a loopback
// server that plays the IM server.
#include "app/client.h"
#include "session/app_error.h"
#include "session/connect_wait.h"
#include "session/connection.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "shell/server_list.h"
#include "support/client_rig.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>

using namespace velmora;

namespace {

const QString kInvalidInfo = QStringLiteral("Error: You have not entered valid information!");

struct Rig : velmora::test::ClientRig {
    Rig() { client.loginWindow().show(); }
    LoginWindow& login() { return client.loginWindow(); }
    template <typename T> T* control(const char* name) {
        return login().findChild<T*>(QString::fromLatin1(name));
    }
    void tryLogin(const QString& host, const QString& user = QStringLiteral("alicia"),
                  const QString& password = QStringLiteral("secret1")) {
        control<QComboBox>("cboHost")->setEditText(host);
        control<QLineEdit>("txtUName")->setText(user);
        control<QLineEdit>("txtPWord")->setText(password);
        QTest::mouseClick(control<QPushButton>("cmdLogin"), Qt::LeftButton);
    }
    // Logs in as alicia as far as the command the server receives.
    bool sendLogin() {
        tryLogin(server.address());
        return server.waitForReceived(" ## cmdLI /:/ alicia /:/ secret1 /:/ 1.4");
    }
    bool offline() {
        return client.connection().State() == Connection::Closed &&
               client.mainWindow().connectStatus() == QStringLiteral("-> Disconnected") &&
               control<QPushButton>("cmdLogin")->isEnabled();
    }
};

} // namespace

class LoginWindowTest : public QObject {
    Q_OBJECT

private slots:
    void badInputIsRefusedBeforeAnyConnection() {
        Rig rig;
        const QString badName = QStringLiteral("Error: You entered an invalid username:\r\n"
                                               "Usernames can only contain Alpha-Numberic Chars!");
        const struct {
            const char* user;
            const char* password;
            const char* host;
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
        QVERIFY(rig.control<QTimer>("tmrShow")->isActive());
        QCOMPARE(rig.control<QTimer>("tmrShow")->interval(), 60000);
        QCOMPARE(rig.sent(), QByteArray(" ## cmdLI /:/ alicia /:/ secret1 /:/ 1.4"));

        QPointer<LoginWindow> window(&rig.login());
        rig.server.send(" ## +LI /$/ Login=True");
        QVERIFY(QTest::qWaitFor([&] { return window.isNull(); }));
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Connected [alicia]"));
        QCOMPARE(main.trayTip(), QStringLiteral("Velmora - alicia"));
        QCOMPARE(main.trayImage(), MainWindow::kImageOnline);
        QCOMPARE(rig.client.session().password, QStringLiteral("secret1"));
        QVERIFY(main.toolbarButton(1)->isEnabled());
        QVERIFY(rig.action("mnuToolsAddContact")->isEnabled());
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
        QCOMPARE(rig.client.connection().State(), int(Connection::Closed));
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(!rig.action("mnuToolsAddContact")->isEnabled());
        // The new login window shows the saved details.
        LoginWindow* again = rig.client.existingLoginWindow();
        QVERIFY(again && again->isVisible());
        QCOMPARE(again->findChild<QLineEdit*>(QStringLiteral("txtUName"))->text(),
                 QStringLiteral("alicia"));
        QVERIFY(again->findChild<QCheckBox*>(QStringLiteral("chkSaveDetails"))->isChecked());
        // Offline, the same command only shows the window, without asking.
        rig.action("mnuFileLogInOut")->trigger();
        QCOMPARE(rig.prompter.boxes.size(), 2);
    }

    void refusedLoginsLeaveTheClientOffline() {
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
            rig.server.received.clear();
            QVERIFY(rig.sendLogin());
            QVERIFY(rig.feedBoxes(" ## +LI /$/ " + c.answer, rig.prompter.boxes.size() + 1));
            QCOMPARE(rig.prompter.texts().last(), c.message);
            QCOMPARE(rig.prompter.boxes.last().title, QStringLiteral("Velmora"));
            QVERIFY(rig.offline());
            QVERIFY(!rig.control<QTimer>("tmrShow")->isActive());
            QVERIFY(rig.client.session().userName.isEmpty());
        }
        // Without "save details" nothing of the user's is written.
        QVERIFY(!rig.home.readFile(QStringLiteral("Velmora.ini")).contains("L-User=alicia"));
    }

    void unansweredOrUnreachableServersGiveTheConnectionMessage() {
        Rig rig;
        QVERIFY(rig.sendLogin());
        // The 60 s time-out, shortened: only what happens when it fires matters.
        rig.control<QTimer>("tmrShow")->setInterval(1);
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 1; }));
        QVERIFY(rig.offline());
        // A server that drops the connection is known at once.
        rig.server.received.clear();
        QVERIFY(rig.sendLogin());
        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes.size() == 2; }));
        QVERIFY(rig.offline());
        // Nobody listening: the connect wait ends with the same message.
        QTcpServer closed;
        closed.listen(QHostAddress::LocalHost, 0);
        const quint16 deadPort = closed.serverPort();
        closed.close();
        rig.tryLogin(QStringLiteral("127.0.0.1:") + QString::number(deadPort));
        QCOMPARE(rig.client.connection().RemotePort(), deadPort);
        QCOMPARE(rig.prompter.texts(), QStringList(3, connectionProblemText()));
        QVERIFY(rig.offline());

        // Without a colon the default port is used (here the loopback's, so
        // that no test dials a real server); a port out of range is refused.
        Rig other;
        connectToAddress(other.client.connection(), QStringLiteral("127.0.0.1"),
                         other.server.port());
        QVERIFY(other.server.waitForPeer());
        for (const char* address : {"127.0.0.1:0", "127.0.0.1:65536"}) {
            try {
                connectToAddress(other.client.connection(), QString::fromLatin1(address), 1);
                QFAIL(address);
            } catch (const AppError& e) {
                QCOMPARE(e.number, 380);
            }
        }
    }

    void keysAndSmallEvents() {
        Rig rig;
        QLineEdit* host = rig.control<QComboBox>("cboHost")->lineEdit();
        host->setText(QStringLiteral("im.example.org:7000"));
        // Only one colon in an address.
        QTest::keyClick(host, Qt::Key_Colon);
        QCOMPARE(host->text(), QStringLiteral("im.example.org:7000"));
        QCOMPARE(rig.prompter.beeps, 1);
        // The sign-up page lives on the server's web site.
        QTest::mouseClick(rig.control<QPushButton>("cmdRegister"), Qt::LeftButton);
        QCOMPARE(rig.desktop.urls,
                 QStringList{"http://im.example.org:88/modules.php?name=Your_Account&op=new_user"});
        // Enter anywhere logs in (here refused: no user name).
        QTest::keyClick(rig.control<QCheckBox>("chkAutoLogin"), Qt::Key_Return);
        QCOMPARE(rig.prompter.texts(), QStringList{kInvalidInfo});
        // Escape leaves the window.
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
        QCOMPARE(
            manual.loginWindow().findChild<QComboBox*>(QStringLiteral("cboHost"))->currentText(),
            rig.server.address());
    }
};

QTEST_MAIN(LoginWindowTest)
#include "login_window_test.moc"
