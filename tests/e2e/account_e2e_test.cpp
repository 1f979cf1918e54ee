// Accounts against the real velmorad: signing up, logging in through the
// login window, building a buddy list, watching a buddy come and go, and
// searching the directory. Refusals the server decides (passwords, names)
// are the server tests' and the windows' tests'. With VELMORA_SCREENSHOTS set, also pictures of
// the main, login and search windows.
#include "contacts/buddy_list.h"
#include "contacts/search_window.h"
#include "session/login_window.h"
#include "session/registration_window.h"
#include "shell/main_window.h"
#include "support/e2e.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

QAction* action(E2eUser& user, const char* name) {
    return user.client->mainWindow().findChild<QAction*>(QString::fromLatin1(name));
}

void fill(QWidget& window, const char* field, const QString& text) {
    window.findChild<QLineEdit*>(QLatin1String(field))->setText(text);
}

// Waits until `buddy`'s node key starts with `state`: 'n' online, 'f' offline.
bool shows(E2eUser& user, const QString& buddy, char state) {
    return QTest::qWaitFor([&] {
        return BuddyList::keyOf(user.client->mainWindow().buddies().findBuddy(buddy))
            .startsWith(QLatin1Char(state));
    });
}

bool boxes(E2eUser& user, qsizetype count) {
    return QTest::qWaitFor([&] { return user.prompter.boxes.size() == count; }, 10000);
}

} // namespace

class AccountE2eTest : public QObject {
    Q_OBJECT

private slots:
    void signUpBuddiesAndSearch() {
        test::VelmoradProcess server({{"alicia", "alicia1"},
                                      {"bobby2", "bobby22"},
                                      {"robbie1", "robbie11"},
                                      {"bobbie_lee", "bobbie1"},
                                      {"carol1", "carol11"}});
        QVERIFY(server.start());

        // bobby signs up from the login window; names are unique ignoring case.
        E2eUser bobby(QStringLiteral("bobby"));
        bobby.client->start();
        bobby.client->loginWindow().findChild<QPushButton*>("cmdNewAccount")->click();
        RegistrationWindow* signUp = findRegistrationWindow(*bobby.client);
        QVERIFY(signUp && signUp->isVisible());
        for (const char* name : {"bobby", "BOBBY"}) {
            fill(*signUp, "txtHost", server.address());
            fill(*signUp, "txtUName", QString::fromLatin1(name));
            fill(*signUp, "txtPWord", QStringLiteral("bobby1"));
            fill(*signUp, "txtPWordConfirm", QStringLiteral("bobby1"));
            signUp->findChild<QPushButton*>(QStringLiteral("cmdSignUp"))->click();
            QVERIFY(boxes(bobby, name[1] == 'o' ? 1 : 2));
        }
        QCOMPARE(bobby.prompter.texts(),
                 (QStringList{"Success: Your account has been created for use on this server!",
                              "Error: There is already a user with that username!"}));
        bobby.prompter.reset();
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(!bobby.client->existingLoginWindow());

        // Buddies join the list offline; a name nobody has is refused.
        for (const char* buddy : {"alicia", "carol1", "nobody1"}) {
            action(bobby, "mnuToolsAddContact")->trigger();
            QWidget* dialog = bobby.client->findWindowByName(QStringLiteral("frmAddBuddy"));
            fill(*dialog, "txtUName", QString::fromLatin1(buddy));
            dialog->findChild<QPushButton*>(QStringLiteral("cmdAddBuddy"))->click();
            QVERIFY(buddy[0] == 'n' ? boxes(bobby, 4) : shows(bobby, buddy, 'f'));
        }
        QCOMPARE(bobby.prompter.texts().last(),
                 QStringLiteral("The username \"nobody1\" is not a valid user!"));

        E2eUser alicia(QStringLiteral("alicia"));
        // alicia logs in: bobby sees her online and hears it.
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QVERIFY(shows(bobby, QStringLiteral("alicia"), 'n'));
        QCOMPARE(bobby.desktop.sounds.last(), bobby.home.path() + "/Sounds/UserLogin.wav");
        bobby.client->mainWindow().tvBuddies().setCurrentItem(
            bobby.client->mainWindow().buddies().findBuddy(QStringLiteral("alicia")));
        QVERIFY(test::saveScreenshot(bobby.client->mainWindow(), "main-window.png"));

        // alicia searches for part of a name.
        action(alicia, "mnuToolsSearchUsers")->trigger();
        SearchUsersWindow* search = findSearchWindow(*alicia.client);
        QVERIFY(search && search->isVisible());
        auto* query = search->findChild<QLineEdit*>(QStringLiteral("txtQuery"));
        auto* results = search->findChild<QListWidget*>(QStringLiteral("lvResults"));
        query->setText(QStringLiteral("OBB"));
        QTest::keyClick(query, Qt::Key_Return);
        QVERIFY(QTest::qWaitFor([&] { return search->statusText().startsWith("[ Search"); }));
        QStringList names;
        for (int i = 0; i < results->count(); ++i) {
            names << results->item(i)->text();
        }
        QCOMPARE(names, (QStringList{"bobbie_lee", "bobby", "bobby2", "robbie1"}));
        results->setCurrentRow(1);
        QVERIFY(test::saveScreenshot(*search, QStringLiteral("search.png")));

        // alicia logs out from the File menu: back to "Offline Buddies".
        action(alicia, "mnuFileLogInOut")->trigger();
        QVERIFY(shows(bobby, QStringLiteral("alicia"), 'f'));
        QCOMPARE(bobby.desktop.sounds.last(), bobby.home.path() + "/Sounds/UserLogout.wav");
        LoginWindow* login = alicia.client->existingLoginWindow();
        QVERIFY(login && login->isVisible());
        fill(*login, "txtPWord", QStringLiteral("alicia1"));
        QVERIFY(test::saveScreenshot(*login, QStringLiteral("login.png")));
        QCOMPARE(bobby.prompter.texts().size(), 4);
    }
};

QTEST_MAIN(AccountE2eTest)
#include "account_e2e_test.moc"
