// Private messages between clients through the real velmorad: what each
// side reads (markup, quotes, Unicode and 4,000 characters included), the
// answers for unknown and absent users, and the messages that wait for an
// absent user: stored at login, shown in the offline window, kept across a
// restart of the client and removed from the file on delete.
#include "controls/font_toolbar.h"
#include "messaging/offline_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "shell/main_window.h"
#include "support/client_rig.h"
#include "support/e2e.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

// Sends `text` in plain `font`.
void send(PMWindow& w, const QString& text, const char* font = "Arial") {
    test::useFont(w.tbFontSettings(), font, "10", "");
    w.txtSendMsg().setPlainText(text);
    QTest::keyClick(&w.txtSendMsg(), Qt::Key_Return);
}

PMWindow* windowFrom(E2eUser& user, const QString& sender) {
    const QString caption = sender + QStringLiteral(" - Instant Message");
    (void)QTest::qWaitFor([&] { return user.client->findWindowByCaption(caption); }, 10000);
    return qobject_cast<PMWindow*>(user.client->findWindowByCaption(caption));
}

bool reads(PMWindow& w, const QString& log) {
    return QTest::qWaitFor([&] { return w.conversationLog() == log; }, 10000);
}

} // namespace

class PMEndToEndTest : public QObject {
    Q_OBJECT

private slots:
    void aliciaAndBobbyTalk() {
        test::VelmoradProcess server(
            {{"alicia", "alicia1"}, {"bobby", "bobby1"}, {"carol1", "carol11"}});
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));

        PMWindow* toBobby = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        send(*toBobby, QStringLiteral("hello world :)"));
        PMWindow* toAlicia = windowFrom(bobby, QStringLiteral("alicia"));
        QVERIFY(toAlicia);
        QVERIFY(reads(*toAlicia, QStringLiteral("alicia: hello world :)\n")));
        // Smilies and links arrive drawn, in the sender's font.
        QVERIFY(test::shownText(toAlicia->brwMessage()).endsWith("alicia: hello world \ufffc "));
        QVERIFY(toAlicia->sbStatus().currentMessage().startsWith("Last IM Received: "));

        // bobby answers; it lands in alicia's open window.
        send(*toAlicia, QStringLiteral("got it :D see www.velmora.org"), "Verdana");
        QVERIFY(reads(*toBobby, QStringLiteral("alicia: hello world :)\n"
                                               "bobby: got it :D see www.velmora.org\n")));
        QVERIFY(toBobby->brwMessage().source().contains("face=\"Verdana\""));
        QVERIFY(toBobby->brwMessage().source().contains("<a href=\"http://www.velmora.org\""));
        QVERIFY(test::saveScreenshot(*toBobby, QStringLiteral("conversation.png")));
        QCOMPARE(alicia.client->windows().size(), 1);

        // An unknown user, then one who is offline (carol1 never logged in):
        // the server keeps her messages.
        send(*OpenPMWindow(*alicia.client, QStringLiteral("nobody1")), QStringLiteral("anyone?"));
        PMWindow* toCarol = OpenPMWindow(*alicia.client, QStringLiteral("carol1"));
        send(*toCarol, QStringLiteral("it's me, see you at 5"));
        send(*toCarol, QStringLiteral("second note"));
        QVERIFY(QTest::qWaitFor([&] { return alicia.prompter.boxes.size() == 3; }, 10000));
        QCOMPARE(alicia.prompter.texts().mid(0, 2),
                 (QStringList{"The username \"nobody1\" is not a valid user!",
                              "The user \"carol1\" is offline!\r\nHowever, the user should get the "
                              "message the next time they login!"}));
        QVERIFY(bobby.prompter.boxes.isEmpty());

        // carol1 logs in: her offline window opens on the first message; the
        // second waits in bold until shown.
        E2eUser carol(QStringLiteral("carol1"));
        QVERIFY(carol.logIn(server, QStringLiteral("carol11")));
        OfflineMessagesWindow* window = nullptr;
        QVERIFY(QTest::qWaitFor(
            [&] { return (window = carol.client->findWindow<OfflineMessagesWindow>()); }, 10000));
        QTreeWidget* list = &window->lvMessages();
        QCOMPARE(list->topLevelItemCount(), 2);
        QCOMPARE(list->topLevelItem(0)->text(1), QStringLiteral("alicia"));
        QCOMPARE(list->topLevelItem(0)->text(2), QStringLiteral("it's me, see you at 5"));
        QVERIFY(list->topLevelItem(1)->font(0).bold());
        list->setCurrentItem(list->topLevelItem(1));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualItemRect(list->topLevelItem(1)).center());
        QVERIFY(window->brwMessage().source().contains(QStringLiteral("second note ")));

        // After a restart both are still there, read, until carol1 deletes one.
        carol.restart();
        QVERIFY(carol.logIn(server, QStringLiteral("carol11")));
        QVERIFY(!carol.client->findWindow<OfflineMessagesWindow>()); // nothing new waited
        carol.client->mainWindow().findChild<QAction*>("mnuToolsOfflineMsgs")->trigger();
        window = carol.client->findWindow<OfflineMessagesWindow>();
        QVERIFY(window);
        list = &window->lvMessages();
        QCOMPARE(list->topLevelItemCount(), 2);
        QVERIFY(!list->topLevelItem(1)->font(0).bold());
        window->findChild<QPushButton*>(QStringLiteral("cmdDelete"))->click();
        QCOMPARE(test::sqlColumn(carol.home.filePath(QStringLiteral("omess.db")),
                                 QStringLiteral("SELECT message FROM messages")),
                 QStringList{"second%%note"});
        QVERIFY(carol.prompter.boxes.isEmpty());
    }

    void markupQuotesUnicodeAndLongLinesArriveAsText() {
        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        const QString special = QStringLiteral("<b> \"quoted\" & Grüße, 你好 %% ");
        const QString longLine = QStringLiteral("abcdefghi ").repeated(399) + "abcdefghij";
        PMWindow* toBobby = OpenPMWindow(*alicia.client, QStringLiteral("bobby"));
        send(*toBobby, special);
        send(*toBobby, longLine);
        PMWindow* window = windowFrom(bobby, QStringLiteral("alicia"));
        QVERIFY(window);
        QVERIFY(reads(*window, "alicia: <b> \"quoted\" & Grüße, 你好\nalicia: " + longLine + "\n"));
        QVERIFY(test::shownText(window->brwMessage())
                    .contains("alicia: <b> \"quoted\" & Grüße, 你好 \n"));
        QVERIFY(bobby.prompter.boxes.isEmpty());
    }
};

QTEST_MAIN(PMEndToEndTest)
#include "pm_e2e_test.moc"
