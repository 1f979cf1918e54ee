// A user's own account through the real velmorad: the password changed from
// the window works at the next login and the old one no longer does; the
// account deleted from its window ends the session, and a login to it is
// then refused as any wrong login is. With VELMORA_SCREENSHOTS set, also
// pictures of both windows.
#include "session/session.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "support/e2e.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

using namespace velmora;
using velmora::test::child;
using velmora::test::E2eUser;

namespace {

bool boxSays(E2eUser& user, const QString& text) {
    return QTest::qWaitFor([&] { return user.prompter.texts().contains(text); }, 10000);
}

// Tries a login through the login window and waits for it to be refused.
bool refused(E2eUser& user, const test::VelmoradProcess& server, const QString& password) {
    LoginWindow& login = user.client->loginWindow();
    login.show();
    child<QComboBox>(login, "cboHost")->setEditText(server.address());
    child<QLineEdit>(login, "txtUName")->setText(user.name);
    child<QLineEdit>(login, "txtPWord")->setText(password);
    user.prompter.boxes.clear();
    QTest::mouseClick(child<QPushButton>(login, "cmdLogin"), Qt::LeftButton);
    return boxSays(user, "Error: The login details which you entered were invalid!");
}

QWidget* openFromMenu(E2eUser& user, const char* item, const char* form) {
    child<QAction>(user.client->mainWindow(), item)->trigger();
    return user.client->session().findWindowByName(QString::fromLatin1(form));
}

} // namespace

class AccountE2eTest : public QObject {
    Q_OBJECT

private slots:
    void changeThePasswordThenDeleteTheAccount() {
        test::VelmoradProcess server({{"alicia", "alicia1"}});
        QVERIFY(server.start());
        E2eUser alicia("alicia");
        QVERIFY(alicia.logIn(server, "alicia1"));

        QWidget* change = openFromMenu(alicia, "mnuToolsChangePassword", "frmChangePassword");
        QVERIFY(change);
        child<QLineEdit>(*change, "txtOldPassword")->setText("alicia1");
        child<QLineEdit>(*change, "txtNewPassword")->setText("n3w-secret");
        child<QLineEdit>(*change, "txtConfirmPassword")->setText("n3w-secret");
        QVERIFY(test::saveScreenshot(*change, "change-password.png"));
        child<QPushButton>(*change, "cmdOK")->click();
        QVERIFY(boxSays(alicia, "Your password has been changed."));

        child<QAction>(alicia.client->mainWindow(), "mnuFileLogInOut")->trigger();
        QVERIFY(refused(alicia, server, "alicia1"));
        QVERIFY(alicia.logIn(server, "n3w-secret"));

        QWidget* remove = openFromMenu(alicia, "mnuToolsDeleteAccount", "frmDeleteAccount");
        QVERIFY(remove);
        child<QLineEdit>(*remove, "txtPassword")->setText("n3w-secret");
        QVERIFY(test::saveScreenshot(*remove, "delete-account.png"));
        child<QPushButton>(*remove, "cmdDelete")->click();
        QVERIFY(boxSays(alicia, "The account alicia on 127.0.0.1 has been deleted."));
        QVERIFY(alicia.client->existingLoginWindow()->isVisible());
        QVERIFY(alicia.client->session().isClosed());

        QVERIFY(refused(alicia, server, "n3w-secret"));
    }
};

QTEST_MAIN(AccountE2eTest)
#include "account_e2e_test.moc"
