// The user's own account from the Tools menu, against a loopback server
// that plays the IM server: the checks before sending, the exact commands,
// each answer's message, the saved password following a change (in the file
// or in the keychain, and nowhere when none was saved), a server that never
// answers, and a deleted account forgotten with its session ended.
#include "session/connection.h"
#include "session/reconnect.h"
#include "shell/account_form.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

using namespace velmora;
using velmora::test::child;

namespace {

const QByteArray kSaved = "[Login Options]\r\nL-User=alicia\r\nL-Pass=secret1\r\nL-Check=1\r\n";
const QString kChanged = QStringLiteral("Your password has been changed.");

struct AccountRig : velmora::test::ClientRig {
    explicit AccountRig(const QByteArray& ini = kSaved) : ClientRig(ini) {}

    AccountForm* open(const char* item, const char* form) {
        action(item)->trigger();
        return qobject_cast<AccountForm*>(
            client.session().findWindowByName(QString::fromLatin1(form)));
    }
    void type(QWidget& window, const char* field, const QString& text) {
        child<QLineEdit>(window, field)->setText(text);
    }
    // Fills the change-password window and clicks OK.
    void change(QWidget& window, const QString& current, const QString& next,
                const QString& confirmation) {
        type(window, "txtOldPassword", current);
        type(window, "txtNewPassword", next);
        type(window, "txtConfirmPassword", confirmation);
        QTest::mouseClick(child<QPushButton>(window, "cmdOK"), Qt::LeftButton);
    }
    QByteArray ini() { return home.readFile(QStringLiteral("Velmora.ini")); }
};

} // namespace

class AccountTest : public QObject {
    Q_OBJECT

private slots:
    void changingThePasswordChecksSendsAndHandlesEachAnswer() {
        AccountRig rig;
        QVERIFY(!rig.action("mnuToolsChangePassword")->isEnabled());
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        QVERIFY(rig.action("mnuToolsChangePassword")->isEnabled());
        QPointer<AccountForm> window = rig.open("mnuToolsChangePassword", "frmChangePassword");
        QVERIFY(window && window->isVisible());

        // Refused before sending, with the sign-up window's words.
        rig.change(*window, QStringLiteral("secret1"), QString(), QString());
        QCOMPARE(rig.prompter.beeps, 1);
        const struct {
            const char *next, *confirmation, *message;
        } refused[] = {
            {"abcd", "abcd", "Error: Usernames & Passwords must be at least 5 characters long!"},
            {"n3w:secret", "n3w:secret", "Error: Passwords cannot contain a \":\" character!"},
            {"n3w-secret", "n3w-secreT", "Error: The passwords you entered did not match!"},
            {"secret1", "secret1", "Error: The new password is the same as the current one!"},
        };
        for (const auto& c : refused) {
            rig.change(*window, QStringLiteral("secret1"), QString::fromLatin1(c.next),
                       QString::fromLatin1(c.confirmation));
            QCOMPARE(rig.prompter.texts().last(), QString::fromLatin1(c.message));
        }
        QCOMPARE(rig.sent(), QByteArray());

        // Each failure keeps the window for another try.
        const struct {
            QByteArray outcome;
            QString message;
        } failures[] = {
            {"WP", "Error: The current password you entered is not correct!"},
            {"IN", "Error: The server refused the new password!\r\nPasswords must be at least 5 "
                   "characters long and cannot contain a \":\" character."},
            {"LIM", "Error: Too many wrong passwords have come from your address lately!\r\n"
                    "Please try again later."},
            {"what?", "Error: The server response was invalid!\r\nYou may need to upgrade your "
                      "I.M. Client!"},
        };
        for (const auto& f : failures) {
            rig.change(*window, QStringLiteral("secret1"), QStringLiteral("n3w-secret"),
                       QStringLiteral("n3w-secret"));
            QCOMPARE(rig.sent(), QByteArray(" ## cmdCP /:/ alicia /:/ secret1 /:/ n3w-secret"));
            QVERIFY(!child<QLineEdit>(*window, "txtOldPassword")->isEnabled());
            QVERIFY(rig.feedBoxes(" ## +CP /$/ " + f.outcome, rig.prompter.boxes.size() + 1));
            QCOMPARE(rig.prompter.texts().last(), f.message);
            QVERIFY(window && child<QPushButton>(*window, "cmdOK")->isEnabled());
        }

        // A server that never answers.
        window->setAnswerTimeout(1);
        rig.change(*window, QStringLiteral("secret1"), QStringLiteral("n3w-secret"),
                   QStringLiteral("n3w-secret"));
        QVERIFY(QTest::qWaitFor(
            [&] { return rig.prompter.texts().last() == AccountForm::noAnswerText(); }));
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("The server did not answer; it may not offer this."));
        QVERIFY(child<QPushButton>(*window, "cmdOK")->isEnabled());

        // Only the operator may: the window goes.
        rig.change(*window, QStringLiteral("secret1"), QStringLiteral("n3w-secret"),
                   QStringLiteral("n3w-secret"));
        QVERIFY(rig.feed(" ## +CP /$/ RNE", [&] { return window.isNull(); }));
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Error: This server does not let users change their passwords "
                                "themselves!\r\nPlease ask the server's operator to change it."));
        // No failure touches the saved password.
        QCOMPARE(rig.ini(), kSaved);
    }

    void aChangedPasswordIsSavedWhereTheOldOneWas() {
        const struct {
            QByteArray ini;
            bool keychain;
            QByteArray after; // empty: the file is not written
        } cases[] = {
            {kSaved, false, "L-Pass=n3w-secret\r\n"},
            {"[Login Options]\r\nL-User=alicia\r\nL-Pass=\r\nL-Check=1\r\nL-Keychain=1\r\n", true,
             "L-Pass=\r\n"},
            {"[Login Options]\r\nL-User=alicia\r\nL-Pass=\r\nL-Check=0\r\n", false, ""},
            {"[Login Options]\r\nL-User=bobby1\r\nL-Pass=bobby1\r\nL-Check=1\r\n", false, ""},
        };
        for (const auto& c : cases) {
            AccountRig rig(c.ini);
            if (c.keychain) {
                rig.desktop.secrets.passwords.insert(QStringLiteral("alicia"),
                                                     QStringLiteral("secret1"));
            }
            QVERIFY(rig.logIn(QStringLiteral("alicia")));
            rig.client.session().reconnect().remember(rig.server.address(), "alicia", "secret1");
            QPointer<AccountForm> window = rig.open("mnuToolsChangePassword", "frmChangePassword");
            rig.change(*window, QStringLiteral("secret1"), QStringLiteral("n3w-secret"),
                       QStringLiteral("n3w-secret"));
            QVERIFY(rig.feed(" ## +CP /$/ OK", [&] { return window.isNull(); }));
            QCOMPARE(rig.prompter.texts(), QStringList{kChanged});
            QCOMPARE(rig.client.session().values().password, QStringLiteral("n3w-secret"));
            if (c.after.isEmpty()) {
                QCOMPARE(rig.ini(), c.ini);
            } else {
                QVERIFY2(rig.ini().contains(c.after), rig.ini().constData());
            }
            QCOMPARE(rig.desktop.secrets.passwords.value(QStringLiteral("alicia")),
                     c.keychain ? QStringLiteral("n3w-secret") : QString());
            if (c.keychain) {
                // A dropped connection logs in again with the new password.
                rig.server.closePeer();
                QVERIFY(rig.server.waitForReceived(" ## cmdLI /:/ alicia /:/ n3w-secret"));
            }
        }
    }

    void aDeletedAccountIsForgottenAndItsSessionEnds() {
        AccountRig rig("[Login Options]\r\nL-User=alicia\r\nL-Pass=\r\nL-Check=1\r\n"
                       "L-Auto-Connect=1\r\nL-Keychain=1\r\n");
        rig.desktop.secrets.passwords.insert(QStringLiteral("alicia"), QStringLiteral("secret1"));
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        Session& session = rig.client.session();
        session.reconnect().remember(rig.server.address(), QStringLiteral("alicia"),
                                     QStringLiteral("secret1"));
        QPointer<AccountForm> window = rig.open("mnuToolsDeleteAccount", "frmDeleteAccount");
        QVERIFY(window);
        QCOMPARE(child<QLabel>(*window, "lblConfirm")->text(),
                 QStringLiteral("Delete the account <b>alicia</b> on 127.0.0.1?<br><br>Your buddy "
                                "list and waiting messages are deleted with it. This cannot be "
                                "undone."));
        auto* cmdDelete = child<QPushButton>(*window, "cmdDelete");
        QVERIFY(!cmdDelete->isDefault() && !cmdDelete->autoDefault());
        QVERIFY(child<QPushButton>(*window, "cmdCancel")->isDefault());

        QTest::mouseClick(cmdDelete, Qt::LeftButton);
        QCOMPARE(rig.prompter.beeps, 1);
        rig.type(*window, "txtPassword", QStringLiteral("secret1"));
        QTest::mouseClick(cmdDelete, Qt::LeftButton);
        QCOMPARE(rig.sent(), QByteArray(" ## cmdDA /:/ alicia /:/ secret1"));
        QVERIFY(rig.feedBoxes(" ## +DA /$/ OK", 1));
        const test::ShownBox& box = rig.prompter.boxes.last();
        QCOMPARE(box.text, QStringLiteral("The account alicia on 127.0.0.1 has been deleted."));
        LoginWindow* login = rig.client.mainWindow().existingLoginWindow();
        QVERIFY(login && login->isVisible() && box.owner == login);
        QVERIFY(session.isClosed() && !session.reconnect().pending());
        QCOMPARE(rig.client.mainWindow().connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(!rig.action("mnuToolsDeleteAccount")->isEnabled());
        QVERIFY(window.isNull() || !window->isVisible());
        const QByteArray ini = rig.ini();
        QVERIFY2(ini.contains("L-User=\r\nL-Pass=\r\n") && ini.contains("L-Auto-Connect=0"),
                 ini.constData());
        QVERIFY(rig.desktop.secrets.passwords.isEmpty());
        QCOMPARE(child<QLineEdit>(*login, "txtUName")->text(), QString());
    }
};

QTEST_MAIN(AccountTest)
#include "account_test.moc"
