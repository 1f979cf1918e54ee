// Messages sent while the recipient was away, through the real velmorad:
// stored at login, shown in the offline messages window, kept across a
// restart of the client and removed from the file on delete.
#include "messaging/offline_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "shell/main_window.h"
#include "support/e2e_user.h"
#include "support/offline_db.h"

#include <QAction>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

QStringList bobbys(const E2eUser& bobby, const char* column) {
    return test::sqlColumn(bobby.home.filePath(QStringLiteral("omess.db")),
                           QStringLiteral("SELECT ") + QLatin1StringView(column) +
                               QStringLiteral(" FROM messages WHERE touser='bobby' "
                                              "ORDER BY \"index\""));
}

} // namespace

class OfflineE2ETest : public QObject {
    Q_OBJECT

private slots:
    void messagesForAnAbsentUserWaitInHisOfflineWindow() {
        test::VelmoradProcess server;
        QVERIFY(test::startWithUsers(server, {{"alicia", "alicia1"}, {"bobby", "bobby1"}}));
        E2eUser alicia(QStringLiteral("alicia"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));

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
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(QTest::qWaitFor([&] { return bobby.window<OfflineMessagesWindow>() != nullptr; },
                                10000));
        OfflineMessagesWindow* window = bobby.window<OfflineMessagesWindow>();
        QVERIFY(window->isVisible());
        QTreeWidget& list = window->lvMessages();
        QCOMPARE(list.topLevelItemCount(), 2);
        QCOMPARE(list.topLevelItem(0)->text(1), QStringLiteral("alicia"));
        QCOMPARE(list.topLevelItem(0)->text(2), QStringLiteral("it's me, see you at 5"));
        QCOMPARE(list.topLevelItem(1)->text(2), QStringLiteral("second note"));
        QCOMPARE(bobbys(bobby, "message"),
                 (QStringList{"it's%%me,%%see%%you%%at%%5", "second%%note"}));
        QVERIFY(list.topLevelItem(1)->font(0).bold());
        QCOMPARE(bobbys(bobby, "read"), (QStringList{"0", "1"}));

        list.setCurrentItem(list.topLevelItem(1));
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          list.visualItemRect(list.topLevelItem(1)).center());
        QVERIFY(window->brwMessage().source().contains(QStringLiteral("second note ")));
        QVERIFY(!list.topLevelItem(1)->font(0).bold());
        QCOMPARE(bobbys(bobby, "read"), (QStringList{"0", "0"}));

        // After a restart both are still there, read, until bobby deletes one.
        bobby.restart();
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(!bobby.window<OfflineMessagesWindow>()); // nothing new waited on the server
        bobby.client->mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuToolsOfflineMsgs"))
            ->trigger();
        window = bobby.window<OfflineMessagesWindow>();
        QVERIFY(window);
        QCOMPARE(window->lvMessages().topLevelItemCount(), 2);
        QVERIFY(!window->lvMessages().topLevelItem(1)->font(0).bold());

        window->findChild<QPushButton*>(QStringLiteral("cmdDelete"))->click();
        QCOMPARE(bobbys(bobby, "message"), QStringList{"second%%note"});
        QCOMPARE(window->lvMessages().topLevelItemCount(), 1);
        QVERIFY(bobby.prompter.boxes().isEmpty());
    }
};

QTEST_MAIN(OfflineE2ETest)
#include "offline_e2e_test.moc"
