// Searching the directory and signing up, through the real windows of
// clients against the real velmorad.
#include "contacts/search_window.h"
#include "session/login_window.h"
#include "session/registration_window.h"
#include "shell/main_window.h"
#include "support/e2e.h"

#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>

using namespace velmora;
using velmora::test::E2eUser;

class SearchSignUpE2ETest : public QObject {
    Q_OBJECT

private slots:
    void aSearchForPartOfANameListsTheMatchingUsers() {
        test::VelmoradProcess server({{"alicia", "alicia1"},
                                      {"bobby", "bobby1"},
                                      {"bobby2", "bobby22"},
                                      {"robbie1", "robbie11"},
                                      {"bobbie_lee", "bobbie1"},
                                      {"carol1", "carol11"}});
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        alicia.client->mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuToolsSearchUsers"))
            ->trigger();
        SearchUsersWindow* search = findSearchWindow(*alicia.client);
        QVERIFY(search && search->isVisible());
        auto* query = search->findChild<QLineEdit*>(QStringLiteral("txtQuery"));
        auto* results = search->findChild<QListWidget*>(QStringLiteral("lvResults"));
        query->setText(QStringLiteral("OBB"));
        QTest::keyClick(query, Qt::Key_Return);
        QVERIFY(
            QTest::qWaitFor([&] { return search->statusText().startsWith("[ Search"); }, 15000));
        QStringList names;
        for (int i = 0; i < results->count(); ++i) {
            names << results->item(i)->text();
        }
        QCOMPARE(names, (QStringList{"bobbie_lee", "bobby", "bobby2", "robbie1"}));
        results->setCurrentRow(1);
        QVERIFY(test::saveScreenshot(*search, QStringLiteral("search.png")));
        QVERIFY(alicia.prompter.boxes.isEmpty());
    }

    void aNewUserSignsUpAndLogsInWithTheNewAccount() {
        test::VelmoradProcess server({{"alicia", "alicia1"}});
        QVERIFY(server.start());
        E2eUser dorian(QStringLiteral("dorian"));
        dorian.client->loginWindow().show();
        dorian.client->loginWindow()
            .findChild<QPushButton*>(QStringLiteral("cmdNewAccount"))
            ->click();
        RegistrationWindow* signUp = findRegistrationWindow(*dorian.client);
        QVERIFY(signUp && signUp->isVisible());

        const auto attempt = [&](const QString& name) {
            dorian.prompter.reset();
            for (const auto& [field, text] : {std::pair{"txtHost", server.address()},
                                              {"txtUName", name},
                                              {"txtPWord", QStringLiteral("dorian1")},
                                              {"txtPWordConfirm", QStringLiteral("dorian1")}}) {
                signUp->findChild<QLineEdit*>(QLatin1String(field))->setText(text);
            }
            signUp->findChild<QPushButton*>(QStringLiteral("cmdSignUp"))->click();
            return QTest::qWaitFor([&] { return !dorian.prompter.boxes.isEmpty(); }, 15000)
                       ? dorian.prompter.texts().first()
                       : QString();
        };
        QCOMPARE(attempt(QStringLiteral("dorian")),
                 QStringLiteral("Success: Your account has been created for use on this server!"));
        // Names are unique ignoring case.
        QCOMPARE(attempt(QStringLiteral("DORIAN")),
                 QStringLiteral("Error: There is already a user with that username!"));
        dorian.prompter.reset();
        QVERIFY(dorian.logIn(server, QStringLiteral("dorian1")));
        QVERIFY(dorian.prompter.boxes.isEmpty());
    }
};

QTEST_MAIN(SearchSignUpE2ETest)
#include "search_signup_e2e_test.moc"
