// Messages sent while the recipient was away, through the real velmorad:
// stored at login, shown in the offline messages window, kept across a
// restart of the client and removed from the file on delete.
#include "app/client.h"
#include "messaging/offline_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/login_window.h"
#include "shell/main_window.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"
#include "support/velmorad_process.h"

#include <QAction>
#include <QComboBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace velmora;

namespace {

// One user's client in its own folder; `restart` replaces the client with a
// fresh one on the same folder, as when the program is run again.
struct User {
    explicit User(const velmora::test::TempHome& home) : home(home) { restart(); }
    const velmora::test::TempHome& home;
    velmora::test::RecordingPrompter prompter;
    velmora::test::RecordingDesktop desktop;
    std::unique_ptr<Client> client;

    void restart() {
        client.reset();
        client = std::make_unique<Client>(home.path(), prompter, desktop);
    }
    // Logs in through the login window, as the user does.
    bool logIn(const velmora::test::VelmoradProcess& server, const QString& name,
               const QString& password) {
        LoginWindow& login = client->loginWindow();
        login.findChild<QComboBox*>(QStringLiteral("cboHost"))->setEditText(server.address());
        login.findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(name);
        login.findChild<QLineEdit*>(QStringLiteral("txtPWord"))->setText(password);
        login.findChild<QPushButton*>(QStringLiteral("cmdLogin"))->click();
        return QTest::qWaitFor([&] { return client->session().userName == name; }, 10000);
    }
    OfflineMessagesWindow* offlineWindow() const {
        for (QWidget* w : client->windows()) {
            if (auto* found = qobject_cast<OfflineMessagesWindow*>(w)) {
                return found;
            }
        }
        return nullptr;
    }
};

// Column `column` of bobby's rows in the file, in stored order.
QStringList column(const QString& dbPath, const char* column) {
    QStringList values;
    {
        QSqlDatabase db =
            QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
        db.setDatabaseName(dbPath);
        if (db.open()) {
            QSqlQuery q(
                QStringLiteral("SELECT ") + QLatin1StringView(column) +
                    QStringLiteral(" FROM messages WHERE touser='bobby' ORDER BY \"index\""),
                db);
            while (q.next()) {
                values << q.value(0).toString();
            }
        }
    }
    QSqlDatabase::removeDatabase(QStringLiteral("peek"));
    return values;
}

void click(QTreeWidget& list, int row) {
    QTreeWidgetItem* item = list.topLevelItem(row);
    list.setCurrentItem(item);
    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, list.visualItemRect(item).center());
}

} // namespace

class OfflineE2ETest : public QObject {
    Q_OBJECT

private slots:
    void messagesForAnAbsentUserWaitInHisOfflineWindow() {
        velmora::test::VelmoradProcess server;
        QVERIFY(server.addUser(QStringLiteral("alicia"), QStringLiteral("alicia1")));
        QVERIFY(server.addUser(QStringLiteral("bobby"), QStringLiteral("bobby1")));
        QVERIFY(server.start());

        velmora::test::TempHome aliciaHome;
        velmora::test::TempHome bobbyHome;
        User alicia(aliciaHome);
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia"), QStringLiteral("alicia1")));

        // bobby is away: the server keeps both messages and tells alicia so.
        PMWindow* pm = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        for (const char* text : {"it's me, see you at 5", "second note"}) {
            pm->txtSendMsg().setPlainText(QString::fromUtf8(text));
            pm->cmdSend_Click();
        }
        const QString offline =
            QStringLiteral("The user \"bobby\" is offline!\r\nHowever, the "
                           "user should get the message the next time they login!");
        QVERIFY(
            QTest::qWaitFor([&] { return alicia.prompter.texts().count(offline) == 2; }, 10000));

        // bobby logs in: the messages are stored and the window comes up on
        // the first one; the second waits in bold.
        User bobby(bobbyHome);
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby"), QStringLiteral("bobby1")));
        QVERIFY(QTest::qWaitFor([&] { return bobby.offlineWindow() != nullptr; }, 10000));
        OfflineMessagesWindow* window = bobby.offlineWindow();
        QVERIFY(window->isVisible());
        QTreeWidget& list = window->lvMessages();
        QCOMPARE(list.topLevelItemCount(), 2);
        QCOMPARE(list.topLevelItem(0)->text(1), QStringLiteral("alicia"));
        QCOMPARE(list.topLevelItem(0)->text(2), QStringLiteral("it's me, see you at 5"));
        QCOMPARE(list.topLevelItem(1)->text(2), QStringLiteral("second note"));
        const QString db = bobbyHome.filePath(QStringLiteral("omess.db"));
        QCOMPARE(column(db, "message"),
                 (QStringList{"it's%%me,%%see%%you%%at%%5", "second%%note"}));
        QVERIFY(!list.topLevelItem(0)->font(0).bold());
        QVERIFY(list.topLevelItem(1)->font(0).bold());
        QCOMPARE(column(db, "read"), (QStringList{"0", "1"}));

        click(list, 1);
        QVERIFY(window->brwMessage().source().contains(QStringLiteral("second note ")));
        QVERIFY(!list.topLevelItem(1)->font(0).bold());
        QCOMPARE(column(db, "read"), (QStringList{"0", "0"}));

        // After a restart both are still there, read, until bobby deletes them.
        bobby.restart();
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby"), QStringLiteral("bobby1")));
        QVERIFY(!bobby.offlineWindow()); // nothing new waited on the server
        bobby.client->mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuToolsOfflineMsgs"))
            ->trigger();
        window = bobby.offlineWindow();
        QVERIFY(window);
        QCOMPARE(window->lvMessages().topLevelItemCount(), 2);
        QVERIFY(!window->lvMessages().topLevelItem(1)->font(0).bold());

        window->findChild<QPushButton*>(QStringLiteral("cmdDelete"))->click();
        QCOMPARE(column(db, "message"), QStringList{"second%%note"});
        QCOMPARE(window->lvMessages().topLevelItemCount(), 1);
        QVERIFY(bobby.prompter.boxes().isEmpty());
    }
};

QTEST_MAIN(OfflineE2ETest)
#include "offline_e2e_test.moc"
