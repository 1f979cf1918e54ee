// Encrypted connections through the real velmorad, to a certificate the test
// made, which no authority vouches for: the question with its fingerprint, a
// conversation with a user on the plain port, the trust kept for the next
// login and a reconnect, another certificate refused, and a no that leaves
// nothing behind. With VELMORA_SCREENSHOTS set, also the question on screen.
#include "messaging/pm_window.h"
#include "session/reconnect.h"
#include "session/session.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "support/e2e.h"
#include "support/test_certificate.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

using namespace velmora;
using velmora::test::child;
using velmora::test::E2eUser;

namespace {

// Fills in the login window and presses Log In, without waiting for more.
LoginWindow& pressLogIn(E2eUser& user, const QString& address, const QString& password) {
    LoginWindow& login = user.client->loginWindow();
    login.show();
    child<QComboBox>(login, "cboHost")->setEditText(address);
    child<QLineEdit>(login, "txtUName")->setText(user.name);
    child<QLineEdit>(login, "txtPWord")->setText(password);
    QTest::mouseClick(child<QPushButton>(login, "cmdLogin"), Qt::LeftButton);
    return login;
}

} // namespace

class EncryptedTest : public QObject {
    Q_OBJECT

private slots:
    void trustOnFirstUseKeptAcrossLoginsAndReconnectsAndAnotherCertificateRefused() {
        QTemporaryDir folder;
        const auto first = test::makeCertificate(folder.path().toStdString(), "first");
        const auto second = test::makeCertificate(folder.path().toStdString(), "second");
        const QString firstPrint = QString::fromStdString(first.fingerprint);
        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        server.useTls(QString::fromStdString(first.certificateFile),
                      QString::fromStdString(first.keyFile));
        QVERIFY(server.start());
        E2eUser alicia("alicia");
        E2eUser bobby("bobby");

        // alicia is asked, with the fingerprint, and says yes (the first button).
        QVERIFY(alicia.logIn(server, "alicia1", true));
        QCOMPARE(alicia.prompter.boxes.size(), 1);
        const test::ShownBox question = alicia.prompter.boxes[0];
        QCOMPARE(question.title, QStringLiteral("Unverified Certificate"));
        QCOMPARE(question.style, style::kYesNoQuestion);
        QVERIFY(question.text.startsWith("No certificate authority of this computer vouches for "
                                         "the server " +
                                         server.tlsAddress() + ":\r\n"));
        QVERIFY(question.text.contains("self-signed"));
        QVERIFY(question.text.contains("SHA-256 fingerprint of its certificate:\r\n" + firstPrint));
        QCOMPARE(alicia.home.readFile("known_servers.ini"),
                 "[Fingerprints]\n" + (server.tlsAddress() + "=" + firstPrint).toLatin1() + "\n");
        QVERIFY(alicia.home.readFile("Velmora.ini").contains("L-Encrypted=1"));
        QVERIFY(test::saveScreenshot(question, "certificate-prompt.png"));

        // bobby on the plain port: not a trace of the option in his folder.
        QVERIFY(bobby.logIn(server, "bobby1"));
        QVERIFY(!bobby.home.readFile("Velmora.ini").contains("Encrypted"));
        QVERIFY(!bobby.home.exists("known_servers.ini"));
        PMWindow* toBobby = OpenPMWindow(alicia.client->session(), "bobby");
        test::send(*toBobby, "over TLS");
        PMWindow* toAlicia = test::shown<PMWindow>(bobby);
        QVERIFY(toAlicia && test::hasLog(*toAlicia, "alicia: over TLS\n"));
        test::send(*toAlicia, "in the clear");
        QVERIFY(test::hasLog(*toBobby, "alicia: over TLS\nbobby: in the clear\n"));

        // The program run again: the box is ticked, nobody is asked, and a
        // reconnect goes inside TLS to the trusted certificate again.
        alicia.restart();
        alicia.prompter.reset();
        QVERIFY(child<QCheckBox>(alicia.client->loginWindow(), "chkEncrypted")->isChecked());
        QVERIFY(alicia.logIn(server, "alicia1", true));
        MainWindow& main = alicia.client->mainWindow();
        const auto status = [&](const QString& text) {
            return QTest::qWaitFor([&] { return main.connectStatus() == text; }, 15000);
        };
        server.stop();
        QVERIFY(status(QStringLiteral("-> Reconnecting in 1 s")));
        QVERIFY(server.start());
        QVERIFY(status(QStringLiteral("-> Connected [alicia]")));
        QVERIFY(alicia.prompter.boxes.isEmpty());

        // Another certificate there ends the reconnect with the message, and
        // a login by hand meets the same refusal.
        server.stop();
        server.useTls(QString::fromStdString(second.certificateFile),
                      QString::fromStdString(second.keyFile));
        QVERIFY(server.start());
        QVERIFY(QTest::qWaitFor([&] { return !alicia.client->session().reconnect().pending(); },
                                15000));
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        QCOMPARE(alicia.prompter.boxes.size(), 1);
        const QString changed = alicia.prompter.boxes[0].text;
        QVERIFY(changed.startsWith("Error: The certificate of " + server.tlsAddress() +
                                   " has changed since you trusted it!"));
        QVERIFY(changed.contains(firstPrint) &&
                changed.contains(QString::fromStdString(second.fingerprint)));
        (void)pressLogIn(alicia, server.tlsAddress(), QStringLiteral("alicia1"));
        QCOMPARE(alicia.prompter.texts(), QStringList({changed, changed}));
        QVERIFY(!alicia.client->session().isConnected());
        QVERIFY(alicia.home.readFile("known_servers.ini").contains(firstPrint.toLatin1()));

        // A no: no connection, nothing remembered, no further box.
        bobby.prompter.reset();
        bobby.prompter.answers = {answer::kNo};
        child<QCheckBox>(bobby.client->loginWindow(), "chkEncrypted")->click();
        LoginWindow& login = pressLogIn(bobby, server.tlsAddress(), QStringLiteral("bobby1"));
        QCOMPARE(bobby.prompter.boxes.size(), 1);
        QVERIFY(!bobby.client->session().isConnected());
        QVERIFY(!bobby.home.exists("known_servers.ini"));
        QVERIFY(child<QPushButton>(login, "cmdLogin")->isEnabled());
    }
};

QTEST_MAIN(EncryptedTest)
#include "encrypted_test.moc"
