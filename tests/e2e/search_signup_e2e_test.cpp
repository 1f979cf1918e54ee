// Searching the directory and signing up, through the real windows of two
// clients against the real velmorad.
#include "app/client.h"
#include "contacts/search_window.h"
#include "session/login_window.h"
#include "session/registration_window.h"
#include "shell/main_window.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"
#include "support/velmorad_process.h"

#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTest>

using namespace velmora;

namespace {

struct User {
    velmora::test::TempHome home;
    velmora::test::RecordingPrompter prompter;
    velmora::test::RecordingDesktop desktop;
    Client client{home.path(), prompter, desktop};

    // Logs in through the login window, as a user types it.
    bool logIn(const QString& address, const QString& name, const QString& password) {
        QPointer<LoginWindow> login(&client.loginWindow());
        login->show();
        login->findChild<QComboBox*>(QStringLiteral("cboHost"))->setEditText(address);
        login->findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(name);
        login->findChild<QLineEdit*>(QStringLiteral("txtPWord"))->setText(password);
        login->findChild<QPushButton*>(QStringLiteral("cmdLogin"))->click();
        const QString connected = QStringLiteral("-> Connected [") + name + QLatin1Char(']');
        return QTest::qWaitFor(
                   [&] {
                       return client.mainWindow().connectStatus() == connected ||
                              !prompter.boxes().isEmpty();
                   },
                   15000) &&
               client.mainWindow().connectStatus() == connected;
    }
    bool waitForBox() {
        return QTest::qWaitFor([&] { return !prompter.boxes().isEmpty(); }, 15000);
    }
};

// With VELMORA_SCREENSHOTS set to a folder, saves a picture of `window` there.
void saveScreenshot(QWidget& window, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    if (folder.isEmpty()) {
        return;
    }
    window.raise();
    window.activateWindow();
    QTest::qWait(300); // let the window manager place and paint it
    QVERIFY(window.grab().save(QDir(folder).filePath(file)));
}

} // namespace

class SearchSignUpE2ETest : public QObject {
    Q_OBJECT

private slots:
    void aSearchForPartOfANameListsTheMatchingUsers() {
        velmora::test::VelmoradProcess server;
        for (const auto& [name, password] : {std::pair{"alicia", "alicia1"},
                                             {"bobby", "bobby1"},
                                             {"bobby2", "bobby22"},
                                             {"robbie1", "robbie11"},
                                             {"bobbie_lee", "bobbie1"},
                                             {"carol1", "carol11"}}) {
            QVERIFY(server.addUser(QString::fromLatin1(name), QString::fromLatin1(password)));
        }
        QVERIFY(server.start());
        User alicia;
        QVERIFY(
            alicia.logIn(server.address(), QStringLiteral("alicia"), QStringLiteral("alicia1")));

        alicia.client.mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuToolsSearchUsers"))
            ->trigger();
        SearchUsersWindow* search = findSearchWindow(alicia.client);
        QVERIFY(search && search->isVisible());
        auto* query = search->findChild<QLineEdit*>(QStringLiteral("txtQuery"));
        auto* results = search->findChild<QListWidget*>(QStringLiteral("lvResults"));
        query->setText(QStringLiteral("OBB"));
        QTest::keyClick(query, Qt::Key_Return);
        QVERIFY(
            QTest::qWaitFor([&] { return search->statusText().startsWith("[ Search"); }, 15000));
        QCOMPARE(search->statusText(), QStringLiteral("[ Search Complete: 4 Match(es)! ]"));
        QStringList names;
        for (int i = 0; i < results->count(); ++i) {
            names.append(results->item(i)->text());
        }
        QCOMPARE(names, (QStringList{QStringLiteral("bobbie_lee"), QStringLiteral("bobby"),
                                     QStringLiteral("bobby2"), QStringLiteral("robbie1")}));
        results->setCurrentRow(1);
        saveScreenshot(*search, QStringLiteral("search.png"));
        QVERIFY(alicia.prompter.boxes().isEmpty());
    }

    void aNewUserSignsUpAndLogsInWithTheNewAccount() {
        velmora::test::VelmoradProcess server;
        QVERIFY(server.addUser(QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QVERIFY(server.start());
        User dorian;
        LoginWindow& login = dorian.client.loginWindow();
        login.show();
        login.findChild<QPushButton*>(QStringLiteral("cmdNewAccount"))->click();
        RegistrationWindow* signUp = findRegistrationWindow(dorian.client);
        QVERIFY(signUp && signUp->isVisible());

        const auto attempt = [&](const QString& name) {
            dorian.prompter.reset();
            signUp->findChild<QLineEdit*>(QStringLiteral("txtHost"))->setText(server.address());
            signUp->findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(name);
            signUp->findChild<QLineEdit*>(QStringLiteral("txtPWord"))
                ->setText(QStringLiteral("dorian1"));
            signUp->findChild<QLineEdit*>(QStringLiteral("txtPWordConfirm"))
                ->setText(QStringLiteral("dorian1"));
            signUp->findChild<QPushButton*>(QStringLiteral("cmdSignUp"))->click();
            return dorian.waitForBox() ? dorian.prompter.texts().first() : QString();
        };
        QCOMPARE(attempt(QStringLiteral("dorian")),
                 QStringLiteral("Success: Your account has been created for use on this server!"));
        // Names are unique ignoring case.
        QCOMPARE(attempt(QStringLiteral("DORIAN")),
                 QStringLiteral("Error: There is already a user with that username!"));

        dorian.prompter.reset();
        QVERIFY(
            dorian.logIn(server.address(), QStringLiteral("dorian"), QStringLiteral("dorian1")));
        QVERIFY(dorian.prompter.boxes().isEmpty());
        QCOMPARE(dorian.client.session().userName, QStringLiteral("dorian"));
    }
};

QTEST_MAIN(SearchSignUpE2ETest)
#include "search_signup_e2e_test.moc"
