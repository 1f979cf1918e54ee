// The user search window against a loopback server: the bytes of the
// request, the results and status a reply leaves, and what the results'
// commands do.
#include "app/client.h"
#include "contacts/buddy_list.h"
#include "contacts/search_window.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QAction>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::child;

namespace {

struct Rig : velmora::test::ClientRig {
    SearchUsersWindow& open() {
        client.mainWindow().setToolbarOnline(); // as after a login
        action("mnuToolsSearchUsers")->trigger();
        return *findSearchWindow(client);
    }
};

QStringList results(QWidget& window) {
    QStringList names;
    auto* list = child<QListWidget>(window, "lvResults");
    for (int i = 0; i < list->count(); ++i) {
        names.append(list->item(i)->text());
    }
    return names;
}

bool controlsEnabled(QWidget& window) {
    return child<QLineEdit>(window, "txtQuery")->isEnabled() &&
           child<QPushButton>(window, "cmdSearch")->isEnabled() &&
           child<QListWidget>(window, "lvResults")->isEnabled();
}

void selectResult(QWidget& window, const QString& name) {
    auto* list = child<QListWidget>(window, "lvResults");
    list->setCurrentItem(list->findItems(name, Qt::MatchExactly).value(0));
}

} // namespace

class SearchWindowTest : public QObject {
    Q_OBJECT

private slots:
    void enterSearchesAndTheReplyFillsTheList() {
        Rig rig;
        QVERIFY(rig.connect());
        SearchUsersWindow& window = rig.open();
        QVERIFY(window.isVisible());
        QCOMPARE(&rig.open(), &window); // one search window per client

        auto* query = child<QLineEdit>(window, "txtQuery");
        query->setText(QStringLiteral("bob"));
        QTest::keyClick(query, Qt::Key_Return);
        QVERIFY(rig.server.waitForReceived(" ## cmdSU /:/ bob"));
        QCOMPARE(rig.server.received(), QByteArray(" ## cmdSU /:/ bob"));
        QCOMPARE(window.statusText(), QStringLiteral("Searching..."));
        QVERIFY(!query->isEnabled());
        QVERIFY(!child<QPushButton>(window, "cmdSearch")->isEnabled());

        rig.server.send(" ## +SU /$/ Bobby%bobby2%zbob");
        QVERIFY(QTest::qWaitFor([&] { return controlsEnabled(window); }));
        QCOMPARE(results(window), (QStringList{QStringLiteral("Bobby"), QStringLiteral("bobby2"),
                                               QStringLiteral("zbob")}));
        QCOMPARE(window.statusText(), QStringLiteral("[ Search Complete: 3 Match(es)! ]"));

        // A new search clears the old results before anything comes back;
        // an empty reply is no matches at all.
        rig.server.clearReceived();
        child<QPushButton>(window, "cmdSearch")->click();
        QVERIFY(results(window).isEmpty());
        QVERIFY(rig.server.waitForReceived(" ## cmdSU /:/ bob"));
        rig.server.send(" ## +SU /$/ ");
        QVERIFY(QTest::qWaitFor([&] { return controlsEnabled(window); }));
        QVERIFY(results(window).isEmpty());
        QCOMPARE(window.statusText(), QStringLiteral("[ Search Complete: 0 Match(es)! ]"));
        QVERIFY(rig.prompter.boxes().isEmpty());
    }

    void badQueriesAreRefusedBeforeSending() {
        Rig rig;
        QVERIFY(rig.connect());
        SearchUsersWindow& window = rig.open();
        auto* query = child<QLineEdit>(window, "txtQuery");
        for (const QString& bad : {QStringLiteral("bob by"), QStringLiteral("bob.")}) {
            query->setText(bad);
            child<QPushButton>(window, "cmdSearch")->click();
        }
        const QString invalid = QStringLiteral("Error: You entered an invalid username format:\r\n"
                                               "Usernames can only contain Alpha-Numberic Chars!");
        QCOMPARE(rig.prompter.texts(), (QStringList{invalid, invalid}));
        QCOMPARE(rig.prompter.boxes().last().owner, &window);
        QVERIFY(controlsEnabled(window));
        QTest::qWait(50);
        QVERIFY(rig.server.received().isEmpty());
    }

    void aReplyWithNoWindowOpensOneHoldingTheResults() {
        Rig rig;
        rig.client.dispatcher().dispatchBatch(QStringLiteral(" ## +SU /$/ alicia%bobby"));
        SearchUsersWindow* window = findSearchWindow(rig.client);
        QVERIFY(window);
        QCOMPARE(results(*window),
                 (QStringList{QStringLiteral("alicia"), QStringLiteral("bobby")}));
        QCOMPARE(window->statusText(), QStringLiteral("[ Search Complete: 2 Match(es)! ]"));
        QCOMPARE(&rig.open(), window);
    }

    void resultCommandsActOnTheSelectedUser() {
        Rig rig;
        QVERIFY(rig.connect());
        rig.client.session().userName = QStringLiteral("alicia");
        rig.client.session().strProfileSite = QStringLiteral("http://people.example");
        rig.client.mainWindow().buddies().onBuddyList(QStringLiteral("n %/ carol1"));
        SearchUsersWindow& window = rig.open();
        window.onSearchReply(QStringLiteral("bobby%carol1"));
        const auto command = [&](const char* name) {
            window.contextMenu().findChild<QAction*>(QString::fromLatin1(name))->trigger();
        };

        // Nothing selected: the commands do nothing.
        command("mnuContextViewProfile");
        command("mnuContextAddAsBuddy");
        QVERIFY(rig.desktop.urls().isEmpty());
        QVERIFY(rig.prompter.boxes().isEmpty());

        selectResult(window, QStringLiteral("bobby"));
        command("mnuContextViewProfile");
        QCOMPARE(
            rig.desktop.urls(),
            QStringList{QStringLiteral(
                "http://people.example/modules.php?name=Your_Account&op=userinfo&uname=bobby")});

        command("mnuContextAddAsBuddy");
        QVERIFY(rig.server.waitForReceived(" ## cmdAB /:/ alicia /:/ bobby"));
        QCOMPARE(rig.prompter.texts(),
                 QStringList{QStringLiteral("The user bobby was added to your buddy list!")});
        // A user already in the buddy list is refused before anything is sent.
        rig.server.clearReceived();
        selectResult(window, QStringLiteral("carol1"));
        command("mnuContextAddAsBuddy");
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Error: The buddy you choose is already in your buddy list!"));
        QTest::qWait(50);
        QVERIFY(rig.server.received().isEmpty());

        // Send Message and a double click both open one message window.
        command("mnuContextSendPM");
        QVERIFY(rig.client.findWindowByCaption(QStringLiteral("carol1 - Instant Message")));
        auto* list = child<QListWidget>(window, "lvResults");
        const QPoint bobby = list->visualItemRect(list->item(0)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, bobby);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, bobby);
        QVERIFY(rig.client.findWindowByCaption(QStringLiteral("BOBBY - Instant Message")));
    }

    void viewProfileOnTheMainWindowOpensTheSelectedBuddysPage() {
        Rig rig;
        rig.client.session().strProfileSite = QStringLiteral("http://people.example");
        MainWindow& main = rig.client.mainWindow();
        main.buddies().onBuddyList(QStringLiteral("n %/ bobby :%: f %/ carol1"));
        main.setToolbarOnline();
        QAction* viewProfile = main.findChild<QAction*>(QStringLiteral("mnuToolsViewProfile"));

        main.tvBuddies().setCurrentItem(main.tvBuddies().topLevelItem(0)); // a group node
        viewProfile->trigger();
        QVERIFY(rig.desktop.urls().isEmpty());

        main.tvBuddies().setCurrentItem(main.buddies().findBuddy(QStringLiteral("carol1")));
        viewProfile->trigger();
        QCOMPARE(rig.desktop.urls(),
                 QStringList{QStringLiteral("http://people.example/modules.php?name=Your_Account&"
                                            "op=userinfo&uname=carol1")});
    }
};

QTEST_MAIN(SearchWindowTest)
#include "search_window_test.moc"
