// Logging in and out through the real login window against a loopback
// server that plays the IM server.
#include "app/client.h"
#include "session/connection.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "shell/server_list.h"
#include "support/client_rig.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

using namespace velmora;

namespace {
const QString kInvalidInfo = QStringLiteral("Error: You have not entered valid information!");
const QString kInvalidName = QStringLiteral(
    "Error: You entered an invalid username:\r\nUsernames can only contain Alpha-Numberic Chars!");
} // namespace

class LoginWindowTest : public QObject {
    Q_OBJECT

    struct Rig : velmora::test::ClientRig {

        LoginWindow& login() { return client.loginWindow(); }
        template <typename T> T* control(const char* name) {
            return login().findChild<T*>(QString::fromLatin1(name));
        }
        void fill(const QString& host, const QString& user, const QString& password) {
            control<QComboBox>("cboHost")->setEditText(host);
            control<QLineEdit>("txtUName")->setText(user);
            control<QLineEdit>("txtPWord")->setText(password);
        }
        // Logs in as far as the cmdLI the server receives.
        bool sendLogin(const QString& user = QStringLiteral("alicia"),
                       const QString& password = QStringLiteral("secret1")) {
            server.clearReceived();
            fill(server.address(), user, password);
            QTest::mouseClick(control<QPushButton>("cmdLogin"), Qt::LeftButton);
            return server.waitForReceived((QStringLiteral(" ## cmdLI /:/ ") + user +
                                           QStringLiteral(" /:/ ") + password +
                                           QStringLiteral(" /:/ 1.4"))
                                              .toUtf8());
        }
    };

private slots:
    void badInputIsRefusedBeforeAnyConnection() {
        Rig rig;
        rig.login().show();
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
            {"ali cia", "secret1", "127.0.0.1", kInvalidName},
            {"ali.cia", "secret1", "127.0.0.1", kInvalidName},
        };
        for (const auto& c : cases) {
            rig.fill(QString::fromLatin1(c.host), QString::fromLatin1(c.user),
                     QString::fromLatin1(c.password));
            QTest::mouseClick(rig.control<QPushButton>("cmdLogin"), Qt::LeftButton);
            QCOMPARE(rig.prompter.boxes().last().text, c.message);
            QCOMPARE(rig.prompter.boxes().last().title, QStringLiteral("Input Error"));
            QCOMPARE(rig.prompter.boxes().last().style, 0);
        }
        QCOMPARE(rig.prompter.boxes().size(), qsizetype(std::size(cases)));
        QCOMPARE(rig.client.connection().State(), int(Connection::Closed));
        QVERIFY(rig.control<QPushButton>("cmdLogin")->isEnabled());
    }

    void successfulLoginGoesOnlineAndSavesTheDetails() {
        Rig rig;
        MainWindow& main = rig.client.mainWindow();
        rig.login().show();
        rig.control<QCheckBox>("chkSaveDetails")->setChecked(true);
        QVERIFY(rig.sendLogin());
        // While the answer is awaited the controls are off and the timer runs.
        QVERIFY(!rig.control<QLineEdit>("txtUName")->isEnabled());
        QVERIFY(!rig.control<QPushButton>("cmdLogin")->isEnabled());
        auto* timer = rig.control<QTimer>("tmrShow");
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 60000);
        QCOMPARE(rig.server.received(),
                 QByteArray(" ## cmdLI /:/ alicia /:/ secret1 /:/ 1.4")); // nothing appended

        QPointer<LoginWindow> window(&rig.login());
        rig.server.send(" ## +LI /$/ Login=True");
        QVERIFY(QTest::qWaitFor([&] { return window.isNull(); }));
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Connected [alicia]"));
        QCOMPARE(main.trayTip(), QStringLiteral("Velmora - alicia"));
        QCOMPARE(main.trayImage(), MainWindow::kImageOnline);
        QCOMPARE(rig.client.session().userName, QStringLiteral("alicia"));
        QCOMPARE(rig.client.session().password, QStringLiteral("secret1"));
        QVERIFY(main.toolbarButton(1)->isEnabled());
        QVERIFY(main.findChild<QAction*>(QStringLiteral("mnuToolsAddContact"))->isEnabled());
        const QByteArray ini = rig.home.readFile(QStringLiteral("Velmora.ini"));
        QVERIFY(ini.contains("L-User=alicia"));
        QVERIFY(ini.contains("L-Pass=secret1"));
        QVERIFY(ini.contains("L-Host=" + rig.server.address().toUtf8()));
        QVERIFY(ini.contains("L-Auto-Connect=0"));
        QVERIFY(ini.contains("L-Check=1"));
        QVERIFY(rig.prompter.boxes().isEmpty());

        // Logging out asks first; No keeps the session.
        QAction* logInOut = main.findChild<QAction*>(QStringLiteral("mnuFileLogInOut"));
        rig.prompter.queueAnswer(answer::kNo);
        logInOut->trigger();
        QCOMPARE(rig.prompter.boxes().last().text,
                 QStringLiteral("Do you wish to disconnect from the IM server?"));
        QCOMPARE(rig.prompter.boxes().last().style, 36);
        QCOMPARE(rig.client.connection().State(), int(Connection::Connected));
        rig.prompter.queueAnswer(answer::kYes);
        logInOut->trigger();
        QCOMPARE(rig.client.connection().State(), int(Connection::Closed));
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(!main.findChild<QAction*>(QStringLiteral("mnuToolsAddContact"))->isEnabled());
        LoginWindow* again = rig.client.existingLoginWindow();
        QVERIFY(again && again->isVisible());
        // The new window shows the saved details.
        QCOMPARE(again->findChild<QLineEdit*>(QStringLiteral("txtUName"))->text(),
                 QStringLiteral("alicia"));
        QVERIFY(again->findChild<QCheckBox*>(QStringLiteral("chkSaveDetails"))->isChecked());
        // Offline, the same command only shows the window, without asking.
        const auto asked = rig.prompter.boxes().size();
        logInOut->trigger();
        QCOMPARE(rig.prompter.boxes().size(), asked);
    }

    void refusedLoginsLeaveTheClientOffline() {
        Rig rig;
        rig.login().show();
        const struct {
            QByteArray answer;
            QString message;
        } cases[] = {
            {"Login=False",
             QStringLiteral("Error: The login details which you entered were invalid!")},
            {"CUgd", QStringLiteral("Error: To login to this I.M. server you will need to upgrade "
                                    "your I.M. client to the latest version!")},
            {"login=true", QStringLiteral("Error: The server response was invalid!\r\n"
                                          "You may need to upgrade your I.M. Client!")},
        };
        for (const auto& c : cases) {
            QVERIFY(rig.sendLogin());
            const auto shown = rig.prompter.boxes().size();
            rig.server.send(" ## +LI /$/ " + c.answer);
            QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes().size() > shown; }));
            QCOMPARE(rig.prompter.boxes().last().text, c.message);
            QCOMPARE(rig.prompter.boxes().last().title, QStringLiteral("Velmora"));
            QCOMPARE(rig.client.connection().State(), int(Connection::Closed));
            QCOMPARE(rig.client.mainWindow().connectStatus(), QStringLiteral("-> Disconnected"));
            QVERIFY(rig.control<QPushButton>("cmdLogin")->isEnabled());
            QVERIFY(!rig.control<QTimer>("tmrShow")->isActive());
            QVERIFY(rig.client.session().userName.isEmpty());
        }
        // Without saved details nothing of the user's is written.
        QVERIFY(!rig.home.readFile(QStringLiteral("Velmora.ini")).contains("L-User=alicia"));
    }

    void unansweredOrUnreachableServersGiveTheConnectionMessage() {
        Rig rig;
        rig.login().show();
        QVERIFY(rig.sendLogin());
        // The 60 s time-out, shortened: only what happens when it fires matters.
        auto* timer = rig.control<QTimer>("tmrShow");
        timer->setInterval(1);
        QVERIFY(QTest::qWaitFor([&] { return !rig.prompter.boxes().isEmpty(); }));
        QCOMPARE(rig.prompter.boxes().last().text, connectionProblemText());
        QCOMPARE(rig.client.mainWindow().connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(rig.control<QPushButton>("cmdLogin")->isEnabled());

        // A server that drops the connection is known at once.
        QVERIFY(rig.sendLogin());
        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return rig.prompter.boxes().size() == 2; }));
        QCOMPARE(rig.prompter.boxes().last().text, connectionProblemText());
        QVERIFY(rig.control<QPushButton>("cmdLogin")->isEnabled());

        // Nobody listening: the connect wait ends with the same message.
        QTcpServer closed;
        closed.listen(QHostAddress::LocalHost, 0);
        const quint16 deadPort = closed.serverPort();
        closed.close();
        rig.fill(QStringLiteral("127.0.0.1:") + QString::number(deadPort), QStringLiteral("alicia"),
                 QStringLiteral("secret1"));
        QTest::mouseClick(rig.control<QPushButton>("cmdLogin"), Qt::LeftButton);
        QCOMPARE(rig.prompter.boxes().size(), 3);
        QCOMPARE(rig.prompter.boxes().last().text, connectionProblemText());
        QCOMPARE(rig.client.connection().RemotePort(), deadPort);

        // Without a colon the standard port is used.
        rig.fill(QStringLiteral("127.0.0.1"), QStringLiteral("alicia"), QStringLiteral("secret1"));
        QTest::mouseClick(rig.control<QPushButton>("cmdLogin"), Qt::LeftButton);
        QCOMPARE(rig.client.connection().RemotePort(), quint16(6668));
        QCOMPARE(rig.client.connection().RemoteHost(), QStringLiteral("127.0.0.1"));
    }

    void keysAndSmallEvents() {
        Rig rig;
        rig.login().show();
        QLineEdit* host = rig.control<QComboBox>("cboHost")->lineEdit();
        host->setText(QStringLiteral("im.example.org:7000"));
        // Only one colon in an address.
        QTest::keyClick(host, Qt::Key_Colon);
        QCOMPARE(host->text(), QStringLiteral("im.example.org:7000"));
        QCOMPARE(rig.prompter.beeps(), 1);
        // The sign-up page lives on the server's web site.
        QTest::mouseClick(rig.control<QPushButton>("cmdRegister"), Qt::LeftButton);
        QCOMPARE(rig.desktop.urls(),
                 QStringList{QStringLiteral(
                     "http://im.example.org:88/modules.php?name=Your_Account&op=new_user")});
        // Enter anywhere logs in (here refused: no user name).
        QTest::keyClick(rig.control<QCheckBox>("chkAutoLogin"), Qt::Key_Return);
        QCOMPARE(rig.prompter.texts(), QStringList{kInvalidInfo});
        // Escape leaves the window.
        QPointer<LoginWindow> window(&rig.login());
        QTest::keyClick(rig.control<QLineEdit>("txtPWord"), Qt::Key_Escape);
        QVERIFY(QTest::qWaitFor([&] { return window.isNull(); }));
    }

    void startLogsInWithTheSavedDetailsWhenAutoConnectIsOn() {
        Rig rig;
        rig.home.writeFile(QStringLiteral("Velmora.ini"),
                           "[Login Options]\r\nL-User=bobby\r\nL-Pass=bobby1\r\nL-Check=1\r\n"
                           "L-Auto-Connect=1\r\n");
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
