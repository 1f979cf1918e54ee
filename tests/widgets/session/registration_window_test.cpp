// The sign-up window: its checks in order, the cmdRA bytes on a loopback
// server, each +RU outcome, and a server that cannot be reached.
#include "app/client.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "session/registration_window.h"
#include "support/client_rig.h"

#include <QLineEdit>
#include <QPushButton>
#include <QTcpServer>
#include <QTest>

using namespace velmora;

namespace {

struct Rig : velmora::test::ClientRig {

    RegistrationWindow& window() {
        showRegistrationWindow(client);
        return *findRegistrationWindow(client);
    }
};

QLineEdit* field(QWidget& window, const char* name) {
    return window.findChild<QLineEdit*>(QString::fromLatin1(name));
}

void fill(QWidget& window, const QString& host, const QString& user, const QString& password,
          const QString& confirm) {
    field(window, "txtHost")->setText(host);
    field(window, "txtUName")->setText(user);
    field(window, "txtPWord")->setText(password);
    field(window, "txtPWordConfirm")->setText(confirm);
}

bool controlsEnabled(QWidget& window) {
    for (QWidget* control : window.findChildren<QWidget*>(Qt::FindDirectChildrenOnly)) {
        if (!control->isEnabled()) {
            return false;
        }
    }
    return true;
}

} // namespace

class RegistrationWindowTest : public QObject {
    Q_OBJECT

private slots:
    void theChecksRefuseInOrderBeforeConnecting() {
        Rig rig;
        RegistrationWindow& window = rig.window();
        QCOMPARE(field(window, "txtHost")->text(), QStringLiteral("127.0.0.1"));

        struct Case {
            const char* user;
            const char* password;
            const char* confirm;
            const char* message;
        };
        const Case cases[] = {
            {"bob by", "ab:c", "x", "Error: Usernames can only contain Alpha-Numeric Characters!"},
            {"bobb", "secret", "secret",
             "Error: Usernames & Passwords must be at least 5 characters long!"},
            {"bobby", "abcd", "abcd",
             "Error: Usernames & Passwords must be at least 5 characters long!"},
            {"bobby", "sec:ret", "other", "Error: Passwords cannot contain a \":\" character!"},
            {"bobby", "secret", "Secret", "Error: The passwords you entered did not match!"},
        };
        for (const Case& c : cases) {
            rig.prompter.reset();
            fill(window, rig.server.address(), QString::fromLatin1(c.user),
                 QString::fromLatin1(c.password), QString::fromLatin1(c.confirm));
            window.findChild<QPushButton*>(QStringLiteral("cmdSignUp"))->click();
            QCOMPARE(rig.prompter.texts(), QStringList{QString::fromLatin1(c.message)});
            QCOMPARE(rig.prompter.boxes[0].style, 0);
            QCOMPARE(rig.prompter.boxes[0].title, QStringLiteral("Velmora"));
            QCOMPARE(rig.prompter.boxes[0].owner, &window);
            QVERIFY(controlsEnabled(window));
        }
        // No connection was even attempted.
        QCOMPARE(rig.client.connection().State(), int(Connection::Closed));
    }

    void signUpSendsOneCommandAndShowsEachAnswer() {
        Rig rig;
        RegistrationWindow& window = rig.window();
        fill(window, rig.server.address(), QStringLiteral("new_user-1"),
             QStringLiteral("p4ss word"), QStringLiteral("p4ss word"));
        window.cmdSignUp_Click();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdRA /:/ new_user-1 /:/ p4ss word /:/ 1.4"));
        QVERIFY(!field(window, "txtUName")->isEnabled());
        QVERIFY(!window.findChild<QPushButton*>(QStringLiteral("cmdSignUp"))->isEnabled());

        const struct {
            QByteArray record;
            QString message;
        } answers[] = {
            {" ## +RU /$/ RS /$/ http://site.example",
             QStringLiteral("Success: Your account has been created for use on this server!")},
            {" ## +RU /$/ UE /$/ http://site.example",
             QStringLiteral("Error: There is already a user with that username!")},
            {" ## +RU /$/ RNE /$/ http://site.example",
             QStringLiteral("Error: Registration via the client is not enabled on this server!\r\n"
                            "Go To: \"http://site.example/modules.php?name=Your_Account\" To "
                            "Register!")},
            {" ## +RU /$/ rs /$/ http://site.example",
             QStringLiteral("Error: Response was not valid!\r\n"
                            "Possible problems with server compatibility!")},
        };
        for (const auto& answer : answers) {
            rig.prompter.reset();
            rig.server.send(answer.record);
            QVERIFY(QTest::qWaitFor([&] { return !rig.prompter.boxes.isEmpty(); }));
            QCOMPARE(rig.prompter.texts(), QStringList{answer.message});
            QCOMPARE(rig.prompter.boxes[0].owner, &window);
            QVERIFY(controlsEnabled(window));
        }
        // The connection stays open for the login that follows.
        QCOMPARE(rig.client.connection().State(), int(Connection::Connected));
    }

    void anAnswerWithNoWindowOpensOne() {
        Rig rig;
        rig.client.dispatcher().dispatchBatch(QStringLiteral(" ## +RU /$/ UE /$/ "));
        RegistrationWindow* window = findRegistrationWindow(rig.client);
        QVERIFY(window);
        QCOMPARE(rig.prompter.texts(),
                 QStringList{QStringLiteral("Error: There is already a user with that username!")});
        QCOMPARE(&rig.window(), window);
    }

    void anUnreachableServerIsReportedAndNothingIsSent() {
        Rig rig;
        quint16 closedPort = 0;
        {
            QTcpServer probe;
            QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
            closedPort = probe.serverPort();
        }
        RegistrationWindow& window = rig.window();
        fill(window, QStringLiteral("127.0.0.1:") + QString::number(closedPort),
             QStringLiteral("bobby"), QStringLiteral("secret"), QStringLiteral("secret"));
        window.cmdSignUp_Click();
        QCOMPARE(rig.prompter.texts(),
                 QStringList{QStringLiteral(
                     "There was a problem when trying to connect to the I.M. server!\r\n"
                     "Either the server is down, or you entered an incorrect server address.\r\n"
                     "Please use a different server address, or try again later!")});
        QCOMPARE(rig.client.connection().RemotePort(), closedPort);
        QVERIFY(controlsEnabled(window));
    }
};

QTEST_MAIN(RegistrationWindowTest)
#include "registration_window_test.moc"
