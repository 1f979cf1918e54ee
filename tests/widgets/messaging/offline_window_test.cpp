// The offline messages window over a real omess.db shared by two users:
// what the list shows, what a click writes to the view and to the file, and
// what delete and reply do.
#include "app/client.h"
#include "messaging/offline_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"
#include "support/offline_db.h"
#include "support/recording_desktop.h"
#include "support/recording_prompter.h"
#include "support/temp_home.h"

#include <QAction>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

#include <memory>

using namespace velmora;

namespace {

const QString kBlank = QStringLiteral(
    "<html>\r\n<body OnContextMenu=\"return false;\" style=\"margin: 0px;\" scroll=\"auto\">");

// What the view holds once the message `words` (space-separated) of
// `sender` is shown.
QString shown(const QString& sender, const QStringList& words) {
    QString html =
        kBlank + QStringLiteral("<b><font color=\"\" face=\"MS Sans Serif\" size=\"3\">") + sender +
        QStringLiteral(":</font></b>&nbsp; 0<font color=\"\" face=\"MS Sans "
                       "Serif\" size=\"3\">");
    for (const QString& word : words) {
        html += word + QLatin1Char(' ');
    }
    return html + QStringLiteral("</font>0\r\n<br>\r\n");
}

struct User {
    User(const velmora::test::TempHome& home, const QString& name) {
        client = std::make_unique<Client>(home.path(), prompter, desktop);
        client->session().userName = name;
    }
    velmora::test::RecordingPrompter prompter;
    velmora::test::RecordingDesktop desktop;
    std::unique_ptr<Client> client;

    OfflineMessagesWindow& openFromMenu() {
        client->mainWindow().findChild<QAction*>(QStringLiteral("mnuToolsOfflineMsgs"))->trigger();
        for (QWidget* w : client->windows()) {
            if (auto* found = qobject_cast<OfflineMessagesWindow*>(w)) {
                return *found;
            }
        }
        qFatal("no offline messages window");
    }
    int offlineWindows() const {
        int n = 0;
        for (QWidget* w : client->windows()) {
            n += qobject_cast<OfflineMessagesWindow*>(w) != nullptr;
        }
        return n;
    }
};

void click(QTreeWidget& list, int row) {
    QTreeWidgetItem* item = list.topLevelItem(row);
    list.setCurrentItem(item);
    const QRect rect = list.visualItemRect(item);
    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, rect.center());
}

QPushButton* button(QWidget& window, const char* name) {
    return window.findChild<QPushButton*>(QLatin1String(name));
}

} // namespace

class OfflineWindowTest : public QObject {
    Q_OBJECT

private slots:
    void showsReadsAndDeletesOnlyTheUsersOwnMessages() {
        velmora::test::TempHome home;
        const QString db = home.filePath(QStringLiteral("omess.db"));
        // carol1 reads her messages on the same machine, in the same file.
        User carol(home, QStringLiteral("carol1"));
        carol.client->dispatcher().dispatchBatch(
            QStringLiteral(" ## +OM /$/ 1 :%: for%%carol :/ alicia :/ 2024-05-01 09:00:00"));
        User bobby(home, QStringLiteral("bobby"));
        bobby.client->dispatcher().dispatchBatch(QStringLiteral(
            " ## +OM /$/ 3 :%: hello%%there :/ alicia :/ 2024-05-01 10:00:00 :%: "
            "see%%<b>you</b> :/ dave1 :/ 2024-05-01 10:05:00 :%: bye :/ alicia :/ 2024-05-01 "
            "10:06:00"));
        bobby.client->windows().first()->close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

        OfflineMessagesWindow& window = bobby.openFromMenu();
        QTreeWidget& list = window.lvMessages();
        QCOMPARE(list.topLevelItemCount(), 3);
        QCOMPARE(list.topLevelItem(1)->text(0), QStringLiteral("2024-05-01 10:05:00"));
        QCOMPARE(list.topLevelItem(1)->text(1), QStringLiteral("dave1"));
        QCOMPARE(list.topLevelItem(1)->text(2), QStringLiteral("see <b>you</b>"));
        // The window opens on the first message; the others wait in bold.
        QCOMPARE(window.brwMessage().source(), shown("alicia", {"hello", "there"}));
        QVERIFY(!list.topLevelItem(0)->font(0).bold());
        QVERIFY(list.topLevelItem(1)->font(2).bold());
        QVERIFY(list.topLevelItem(2)->font(1).bold());
        const QString readFlags = QStringLiteral("SELECT read FROM messages WHERE touser='bobby' "
                                                 "ORDER BY \"index\"");
        QCOMPARE(velmora::test::sqlColumn(db, readFlags), (QStringList{"0", "1", "1"}));

        // A click shows the message from its "%%" form and marks it read.
        click(list, 1);
        QCOMPARE(window.brwMessage().source(), shown("dave1", {"see", "&lt;b>you&lt;/b>"}));
        QVERIFY(!list.topLevelItem(1)->font(0).bold());
        QCOMPARE(velmora::test::sqlColumn(db, readFlags), (QStringList{"0", "0", "1"}));
        QCOMPARE(window.shownPosition(), 2);
        // Clicking the row in view again writes nothing, even were it unread.
        (void)velmora::test::sqlColumn(db, QStringLiteral("UPDATE messages SET read='1'"));
        QFont bold = list.topLevelItem(1)->font(0);
        bold.setBold(true);
        list.topLevelItem(1)->setFont(0, bold);
        click(list, 1);
        QCOMPARE(velmora::test::sqlColumn(db, readFlags), (QStringList{"1", "1", "1"}));

        // Reply opens the sender's message window; this one stays.
        button(window, "cmdReply")->click();
        QVERIFY(bobby.client->findWindowByCaption(QStringLiteral("DAVE1 - Instant Message")));
        QVERIFY(window.isVisible());

        // The menu again brings up the same window.
        QCOMPARE(&bobby.openFromMenu(), &window);
        QCOMPARE(bobby.offlineWindows(), 1);

        // Delete removes the row from the file and the list, clears the view
        // and leaves Reply and Delete off until a row is shown again.
        button(window, "cmdDelete")->click();
        QCOMPARE(velmora::test::sqlColumn(
                     db, QStringLiteral("SELECT message FROM messages ORDER BY \"index\"")),
                 (QStringList{"for%%carol", "hello%%there", "bye"}));
        QCOMPARE(list.topLevelItemCount(), 2);
        QCOMPARE(window.brwMessage().source(), QString());
        QVERIFY(!button(window, "cmdReply")->isEnabled());
        QVERIFY(!button(window, "cmdDelete")->isEnabled());
        click(list, 1);
        QCOMPARE(window.brwMessage().source(), shown("alicia", {"bye"}));
        QVERIFY(button(window, "cmdDelete")->isEnabled());
        button(window, "cmdDelete")->click();
        click(list, 0);
        button(window, "cmdDelete")->click();
        QCOMPARE(list.topLevelItemCount(), 0);
        QCOMPARE(window.brwMessage().source(), kBlank);
        QVERIFY(!button(window, "cmdReply")->isEnabled());
        QCOMPARE(velmora::test::sqlColumn(db, QStringLiteral("SELECT fromwho FROM messages")),
                 QStringList{"alicia"});

        // carol1's message was never listed for bobby and is still hers, unread.
        OfflineMessagesWindow& hers = carol.openFromMenu();
        QCOMPARE(hers.lvMessages().topLevelItemCount(), 1);
        QCOMPARE(hers.lvMessages().topLevelItem(0)->text(2), QStringLiteral("for carol"));
        QVERIFY(bobby.prompter.boxes().isEmpty());
        QVERIFY(carol.prompter.boxes().isEmpty());

        button(window, "cmdClose")->click();
        QVERIFY(!window.isVisible());
    }
};

QTEST_MAIN(OfflineWindowTest)
#include "offline_window_test.moc"
