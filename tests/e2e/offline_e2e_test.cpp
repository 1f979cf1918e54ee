// Messages sent while the recipient was away, through the real velmorad:
// stored at login, shown in the offline messages window, kept across a
// restart of the client and removed from the file on delete.
#include "messaging/offline_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "shell/main_window.h"
#include "support/client_rig.h"
#include "support/e2e.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::E2eUser;

class OfflineE2ETest : public QObject {
    Q_OBJECT

private slots:
    void messagesForAnAbsentUserWaitInHisOfflineWindow() {
        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));

        // bobby is away: the server keeps both messages and tells alicia so.
        PMWindow* pm = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        for (const char* text : {"it's me, see you at 5", "second note"}) {
            pm->txtSendMsg().setPlainText(QString::fromUtf8(text));
            pm->cmdSend_Click();
        }
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes.size() == 2; }, 10000));
        QVERIFY(alicia.prompter.texts()[1].startsWith("The user \"bobby\" is offline!"));

        // bobby logs in: the window comes up on the first message; the
        // second waits in bold.
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        OfflineMessagesWindow* window = nullptr;
        QVERIFY(QTest::qWaitFor(
            [&] { return (window = bobby.client->findWindow<OfflineMessagesWindow>()); }, 10000));
        QVERIFY(window->isVisible());
        QTreeWidget& list = window->lvMessages();
        QCOMPARE(list.topLevelItemCount(), 2);
        QCOMPARE(list.topLevelItem(0)->text(1), QStringLiteral("alicia"));
        QCOMPARE(list.topLevelItem(0)->text(2), QStringLiteral("it's me, see you at 5"));
        QVERIFY(list.topLevelItem(1)->font(0).bold());
        list.setCurrentItem(list.topLevelItem(1));
        QTest::mouseClick(list.viewport(), Qt::LeftButton, {},
                          list.visualItemRect(list.topLevelItem(1)).center());
        QVERIFY(window->brwMessage().source().contains(QStringLiteral("second note ")));

        // After a restart both are still there, read, until bobby deletes one.
        bobby.restart();
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(!bobby.client->findWindow<OfflineMessagesWindow>()); // nothing new waited
        bobby.client->mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuToolsOfflineMsgs"))
            ->trigger();
        window = bobby.client->findWindow<OfflineMessagesWindow>();
        QVERIFY(window);
        QCOMPARE(window->lvMessages().topLevelItemCount(), 2);
        QVERIFY(!window->lvMessages().topLevelItem(1)->font(0).bold());
        window->findChild<QPushButton*>(QStringLiteral("cmdDelete"))->click();
        QCOMPARE(test::sqlColumn(bobby.home.filePath(QStringLiteral("omess.db")),
                                 QStringLiteral("SELECT message FROM messages")),
                 QStringList{"second%%note"});
        QVERIFY(bobby.prompter.boxes.isEmpty());
    }
};

QTEST_MAIN(OfflineE2ETest)
#include "offline_e2e_test.moc"
