// Encrypted connections through the real velmorad: a login inside TLS to a
// certificate the test made (no authority vouches for it, so the user is
// asked, with its fingerprint), a conversation with a user on the plain
// port, the trust kept for the next login and a reconnect, and the refusal
// of another certificate on the same server. With VELMORA_SCREENSHOTS set,
// also a picture of the question as it appears on screen.
#include "messaging/pm_window.h"
#include "platform/qt_prompter.h"
#include "session/reconnect.h"
#include "session/session.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "support/client_rig.h"
#include "support/e2e.h"
#include "support/test_certificate.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

using namespace velmora;
using velmora::test::child;
using velmora::test::E2eUser;

namespace {

template <typename T> T* shown(E2eUser& p) {
    (void)QTest::qWaitFor([&] { return !test::visibleWindows<T>(*p.client).isEmpty(); }, 10000);
    return test::visibleWindows<T>(*p.client).value(0);
}

void send(PMWindow& w, const QString& text) {
    test::useFont(w.tbFontSettings(), "Arial", "10", "");
    test::say(w.txtSendMsg(), text);
}

bool hasLog(PMWindow& w, const QString& log) {
    return QTest::qWaitFor([&] { return w.conversationLog() == log; }, 10000);
}

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

// Shows `box` as the user sees it and saves a picture of it.
bool saveBoxScreenshot(const test::ShownBox& box, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    if (folder.isEmpty()) {
        return true;
    }
    bool saved = false;
    QTimer::singleShot(500, [&] {
        if (auto* shownBox = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            saved = shownBox->grab().save(QDir(folder).filePath(file));
            shownBox->done(0);
        }
    });
    QtPrompter().show(box.text, box.style, box.title, nullptr);
    return saved;
}

} // namespace

class EncryptedTest : public QObject {
    Q_OBJECT

private slots:
    void trustOnFirstUseKeptAcrossLoginsAndReconnectsAndAnotherCertificateRefused() {
        QTemporaryDir certificates;
        const auto first = test::makeCertificate(certificates.path().toStdString(), "first");
        const auto second = test::makeCertificate(certificates.path().toStdString(), "second");
        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        server.useTls(QString::fromStdString(first.certificateFile),
                      QString::fromStdString(first.keyFile));
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));

        // alicia is asked about the certificate, with its fingerprint, and
        // says yes (the first button).
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1"), true));
        QCOMPARE(alicia.prompter.boxes.size(), 1);
        const test::ShownBox question = alicia.prompter.boxes[0];
        QCOMPARE(question.title, QStringLiteral("Unverified Certificate"));
        QCOMPARE(question.style, style::kYesNoQuestion);
        QVERIFY(question.text.startsWith("No certificate authority of this computer vouches for "
                                         "the server " +
                                         server.tlsAddress() + ":\r\n"));
        QVERIFY(question.text.contains(QStringLiteral("self-signed")));
        QVERIFY(
            question.text.contains(QStringLiteral("SHA-256 fingerprint of its certificate:\r\n") +
                                   QString::fromStdString(first.fingerprint) + "\r\n"));
        QCOMPARE(alicia.home.readFile("known_servers.ini"),
                 "[Fingerprints]\n" + server.tlsAddress().toLatin1() + "=" +
                     QByteArray::fromStdString(first.fingerprint) + "\n");
        QVERIFY(alicia.home.readFile("Velmora.ini").contains("L-Encrypted=1"));
        QVERIFY(saveBoxScreenshot(question, QStringLiteral("certificate-prompt.png")));

        // bobby on the plain port: not a trace of the option in his folder.
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(!bobby.home.readFile("Velmora.ini").contains("Encrypted"));
        QVERIFY(!bobby.home.exists("known_servers.ini"));
        PMWindow* toBobby = OpenPMWindow(alicia.client->session(), QStringLiteral("bobby"));
        send(*toBobby, QStringLiteral("over TLS"));
        PMWindow* toAlicia = shown<PMWindow>(bobby);
        QVERIFY(toAlicia && hasLog(*toAlicia, QStringLiteral("alicia: over TLS\n")));
        send(*toAlicia, QStringLiteral("in the clear"));
        QVERIFY(hasLog(*toBobby, QStringLiteral("alicia: over TLS\nbobby: in the clear\n")));

        // The program run again: the box is ticked, nobody is asked.
        alicia.restart();
        alicia.prompter.reset();
        QVERIFY(child<QCheckBox>(alicia.client->loginWindow(), "chkEncrypted")->isChecked());
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1"), true));
        QVERIFY(alicia.prompter.boxes.isEmpty());

        // A reconnect goes inside TLS again, to the trusted certificate.
        MainWindow& main = alicia.client->mainWindow();
        const auto status = [&](const QString& text) {
            return QTest::qWaitFor([&] { return main.connectStatus() == text; }, 15000);
        };
        server.stop();
        QVERIFY(status(QStringLiteral("-> Reconnecting in 1 s")));
        QVERIFY(server.start());
        QVERIFY(status(QStringLiteral("-> Connected [alicia]")));
        QVERIFY(alicia.prompter.boxes.isEmpty());

        // Another certificate on that server ends the reconnect with the
        // message, and a login by hand meets the same refusal.
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
        QVERIFY(changed.contains(QString::fromStdString(first.fingerprint)));
        QVERIFY(changed.contains(QString::fromStdString(second.fingerprint)));
        (void)pressLogIn(alicia, server.tlsAddress(), QStringLiteral("alicia1"));
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes.size() == 2; }));
        QCOMPARE(alicia.prompter.boxes[1].text, changed);
        QVERIFY(!alicia.client->session().isConnected());
        QVERIFY(alicia.home.readFile("known_servers.ini")
                    .contains(QByteArray::fromStdString(first.fingerprint)));

        // A no to the question: no connection, nothing remembered, no
        // further box.
        bobby.prompter.reset();
        bobby.prompter.answers = {answer::kNo};
        child<QCheckBox>(bobby.client->loginWindow(), "chkEncrypted")->click();
        LoginWindow& bobbyLogin = pressLogIn(bobby, server.tlsAddress(), QStringLiteral("bobby1"));
        QVERIFY(QTest::qWaitFor([&] { return bobby.prompter.boxes.size() == 1; }));
        QVERIFY(bobby.prompter.boxes[0].text.contains(QString::fromStdString(second.fingerprint)));
        QVERIFY(!bobby.home.exists("known_servers.ini"));
        QVERIFY(child<QPushButton>(bobbyLogin, "cmdLogin")->isEnabled());
        QCOMPARE(bobby.prompter.boxes.size(), 1);
    }
};

QTEST_MAIN(EncryptedTest)
#include "encrypted_test.moc"
