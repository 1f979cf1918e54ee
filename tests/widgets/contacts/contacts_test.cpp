// The buddy tree and the user search against a loopback server: +BL chains
// and presence with their sounds and notices, adding and deleting buddies,
// the search request and its results' commands.
#include "app/client.h"
#include "contacts/add_buddy_dialog.h"
#include "contacts/buddy_list.h"
#include "contacts/search_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::child;

namespace {

// "key:text" of each node, depth first, with one "." per level below a group.
QString shape(const BuddyList& buddies) {
    QStringList nodes;
    for (QTreeWidgetItem* node : buddies.allNodes()) {
        int depth = 0;
        for (QTreeWidgetItem* up = node->parent(); up; up = up->parent()) {
            ++depth;
        }
        nodes << QString(depth, '.') + BuddyList::keyOf(node) + ':' + node->text(0);
    }
    return nodes.join(' ');
}

struct Rig : velmora::test::ClientRig {
    MainWindow& main = client.mainWindow();
    BuddyList& buddies = main.buddies();

    bool feedTree(const QByteArray& bytes, const QString& node) {
        return feed(bytes, [&] { return shape(buddies).contains(node); });
    }
    SearchUsersWindow& search() {
        main.setToolbarOnline(); // as after a login
        action("mnuToolsSearchUsers")->trigger();
        return *findSearchWindow(client);
    }
};

QStringList results(QWidget& window) {
    QStringList names;
    auto* list = child<QListWidget>(window, "lvResults");
    for (int i = 0; i < list->count(); ++i) {
        names << list->item(i)->text();
    }
    return names;
}

bool searchEnabled(QWidget& window) {
    return child<QLineEdit>(window, "txtQuery")->isEnabled() &&
           child<QPushButton>(window, "cmdSearch")->isEnabled();
}

} // namespace

class ContactsTest : public QObject {
    Q_OBJECT

private slots:
    void buddyListAndPresenceKeepTheChains() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("bobby")));
        QVERIFY(rig.feedTree(" ## +BL /$/ n %/ alicia :%: f %/ carol1 :%: x %/ ghost1 :%: n %/ "
                             "dave1 :%: f %/ erin1",
                             QStringLiteral("f7:erin1")));
        QCOMPARE(shape(rig.buddies), QStringLiteral("f1:Online Buddies .n3:alicia ..n6:dave1 "
                                                    "f2:Offline Buddies .f4:carol1 ..f7:erin1"));
        // carol1 comes online: a new key at the end of the online chain; the
        // buddy chained below her moves up. Her open window gets a notice.
        const HtmlMessageView& chat =
            OpenPMWindow(rig.client, QStringLiteral("CAROL1"))->brwMessage();
        QVERIFY(rig.feedTree(" ## +LOn /$/ carol1", QStringLiteral("n8:carol1")));
        QCOMPARE(shape(rig.buddies), QStringLiteral("f1:Online Buddies .n3:alicia ..n6:dave1 "
                                                    "...n8:carol1 f2:Offline Buddies .f7:erin1"));
        QCOMPARE(rig.desktop.sounds, QStringList{rig.home.path() + "/Sounds/UserLogin.wav"});
        QVERIFY(chat.source().contains(QStringLiteral("&lt;Client&gt;")));
        QVERIFY(chat.source().contains(QStringLiteral("carol1 Logged In (")));
        // alicia leaves: dave1 and carol1 stay online, one level up.
        QVERIFY(rig.feedTree(" ## +LOff /$/ ALICIA", QStringLiteral("f9:ALICIA")));
        QCOMPARE(shape(rig.buddies), QStringLiteral("f1:Online Buddies .n6:dave1 ..n8:carol1 "
                                                    "f2:Offline Buddies .f7:erin1 ..f9:ALICIA"));
        QCOMPARE(rig.desktop.sounds.last(), rig.home.path() + "/Sounds/UserLogout.wav");
        QVERIFY(!chat.source().contains(QStringLiteral("ALICIA")));
        // A switched-off sound stays quiet; an unknown name is still added.
        rig.client.values().userLogin.enabled = 0;
        QVERIFY(rig.feedTree(" ## +LOn /$/ frank1", QStringLiteral("n10:frank1")));
        QCOMPARE(rig.desktop.sounds.size(), 2);
        QCOMPARE(rig.buddies.onlineBuddies(), (QStringList{"dave1", "carol1", "frank1"}));
        QVERIFY(rig.prompter.boxes.isEmpty());
    }

    void addingChecksInOrderAndAFullListTakesNoMore() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("bobby")));
        QVERIFY(rig.feedTree(" ## +BL /$/ n %/ alicia", QStringLiteral("n3:alicia")));
        rig.action("mnuToolsAddContact")->trigger();
        auto* dialog = rig.main.findChild<AddBuddyDialog*>(QStringLiteral("frmAddBuddy"));
        QVERIFY(dialog);
        auto* name = child<QLineEdit>(*dialog, "txtUName");
        for (const char* typed : {"bobb", "BOBBY", "bad.name", "Alicia"}) {
            name->setText(QString::fromLatin1(typed));
            QTest::mouseClick(child<QPushButton>(*dialog, "cmdAddBuddy"), Qt::LeftButton);
        }
        QCOMPARE(rig.prompter.texts(),
                 (QStringList{"Error: Username's must be at least 5 chars long!",
                              "Error: You cannot add yourself to your buddy list!",
                              "Error: You entered an invalid username:\r\nUsernames can only "
                              "contain Alpha-Numberic Chars!",
                              "Error: The buddy you choose is already in your buddy list!"}));
        QCOMPARE(rig.prompter.boxes[0].title, QStringLiteral("Input Error"));
        QCOMPARE(name->text(), QStringLiteral("Alicia")); // kept for correcting
        QCOMPARE(rig.sent(), QByteArray());
        name->setText(QStringLiteral("john_doe-1"));
        QTest::mouseClick(child<QPushButton>(*dialog, "cmdAddBuddy"), Qt::LeftButton);
        QCOMPARE(rig.sent(), QByteArray(" ## cmdAB /:/ bobby /:/ john_doe-1"));
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("The user john_doe-1 was added to your buddy list!"));

        // 75 buddies are the most; 74 leave room for one more.
        QStringList items;
        for (int i = 0; i < 75; ++i) {
            items << QStringLiteral("f %/ buddy%1").arg(i, 2, 10, QLatin1Char('0'));
        }
        QVERIFY(rig.feedTree(" ## +BL /$/ " + items.join(" :%: ").toUtf8(), ":buddy74"));
        dialog = new AddBuddyDialog(rig.client, &rig.main);
        child<QLineEdit>(*dialog, "txtUName")->setText(QStringLiteral("zelda"));
        dialog->cmdAddBuddy_Click();
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Error: Your buddylist already contains 75 buddies!\r\nYou cannot "
                                "add any more friends until you delete some of your current "
                                "buddies!"));
        items.removeLast();
        QVERIFY(rig.feed(" ## +BL /$/ " + items.join(" :%: ").toUtf8(),
                         [&] { return rig.buddies.allNodes().size() == 76; }));
        dialog->cmdAddBuddy_Click();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdAB /:/ bobby /:/ zelda"));
    }

    void deletingAsksAndSkipsGroups() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("bobby")));
        QVERIFY(rig.feedTree(" ## +BL /$/ n %/ alicia :%: f %/ carol1", "f4:carol1"));
        rig.main.tvBuddies().setCurrentItem(rig.main.tvBuddies().topLevelItem(0));
        rig.action("mnuToolsDeleteContact")->trigger();
        QVERIFY(rig.prompter.boxes.isEmpty());

        rig.main.tvBuddies().setCurrentItem(rig.buddies.findBuddy(QStringLiteral("carol1")));
        rig.prompter.answers = {answer::kNo, answer::kYes};
        rig.action("mnuToolsDeleteContact")->trigger();
        QCOMPARE(rig.prompter.boxes.last().text,
                 QStringLiteral(
                     "Do you really wish to delete the user \"carol1\" from your buddy list?"));
        QCOMPARE(rig.prompter.boxes.last().style, 36);
        QCOMPARE(rig.prompter.boxes.last().title, QStringLiteral("Delete Buddy"));
        QCOMPARE(rig.sent(), QByteArray());
        rig.action("mnuToolsDeleteContact")->trigger();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdDB /:/ bobby /:/ carol1"));
    }

    void searchSendsTheQueryAndTheReplyFillsTheList() {
        Rig rig;
        QVERIFY(rig.connect());
        SearchUsersWindow& window = rig.search();
        QCOMPARE(&rig.search(), &window); // one search window per client
        auto* query = child<QLineEdit>(window, "txtQuery");
        // Bad queries are refused before sending.
        for (const char* bad : {"bob by", "bob."}) {
            query->setText(QString::fromLatin1(bad));
            child<QPushButton>(window, "cmdSearch")->click();
        }
        QCOMPARE(rig.prompter.texts(), QStringList(2, "Error: You entered an invalid username "
                                                      "format:\r\nUsernames can only contain "
                                                      "Alpha-Numberic Chars!"));
        QCOMPARE(rig.prompter.boxes[1].owner, &window);
        QCOMPARE(rig.sent(), QByteArray());

        query->setText(QStringLiteral("bob"));
        QTest::keyClick(query, Qt::Key_Return);
        QVERIFY(rig.server.waitForReceived(" ## cmdSU /:/ bob"));
        QCOMPARE(window.statusText(), QStringLiteral("Searching..."));
        QVERIFY(!searchEnabled(window));
        QVERIFY(rig.feed(" ## +SU /$/ Bobby%bobby2%zbob", [&] { return searchEnabled(window); }));
        QCOMPARE(results(window), (QStringList{"Bobby", "bobby2", "zbob"}));
        QCOMPARE(window.statusText(), QStringLiteral("[ Search Complete: 3 Match(es)! ]"));
        // A new search clears the old results at once; an empty reply is no match.
        child<QPushButton>(window, "cmdSearch")->click();
        QVERIFY(results(window).isEmpty());
        QVERIFY(rig.feed(" ## +SU /$/ ", [&] { return searchEnabled(window); }));
        QCOMPARE(window.statusText(), QStringLiteral("[ Search Complete: 0 Match(es)! ]"));

        // A reply with no window open opens one holding the results.
        Rig closed;
        closed.client.dispatcher().dispatchBatch(QStringLiteral(" ## +SU /$/ alicia%bobby"));
        QVERIFY(findSearchWindow(closed.client));
        QCOMPARE(results(*findSearchWindow(closed.client)), (QStringList{"alicia", "bobby"}));
    }

    void resultAndBuddyCommandsActOnTheSelectedUser() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        rig.client.session().strProfileSite = QStringLiteral("http://people.example");
        rig.buddies.onBuddyList(QStringLiteral("n %/ carol1"));
        SearchUsersWindow& window = rig.search();
        window.onSearchReply(QStringLiteral("bobby%carol1"));
        auto* list = child<QListWidget>(window, "lvResults");
        const auto command = [&](const char* name, const char* user) {
            list->setCurrentItem(
                list->findItems(QString::fromLatin1(user), Qt::MatchExactly).value(0));
            window.contextMenu().findChild<QAction*>(QString::fromLatin1(name))->trigger();
        };
        const QString profile = QStringLiteral(
            "http://people.example/modules.php?name=Your_Account&op=userinfo&uname=");

        // Nothing selected: the commands do nothing.
        command("mnuContextViewProfile", "");
        command("mnuContextAddAsBuddy", "");
        QVERIFY(rig.desktop.urls.isEmpty() && rig.prompter.boxes.isEmpty());
        command("mnuContextViewProfile", "bobby");
        QCOMPARE(rig.desktop.urls, QStringList{profile + "bobby"});
        command("mnuContextAddAsBuddy", "bobby");
        QCOMPARE(rig.sent(), QByteArray(" ## cmdAB /:/ alicia /:/ bobby"));
        QCOMPARE(rig.prompter.texts(),
                 QStringList{QStringLiteral("The user bobby was added to your buddy list!")});
        // A user already in the buddy list is refused before anything is sent.
        command("mnuContextAddAsBuddy", "carol1");
        QCOMPARE(rig.prompter.texts().last(),
                 QStringLiteral("Error: The buddy you choose is already in your buddy list!"));
        QCOMPARE(rig.sent(), QByteArray());
        // Send Message and a double click both open a message window.
        command("mnuContextSendPM", "carol1");
        QVERIFY(rig.client.findWindowByCaption(QStringLiteral("carol1 - Instant Message")));
        const QPoint bobby = list->visualItemRect(list->item(0)).center();
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, bobby);
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, bobby);
        QVERIFY(rig.client.findWindowByCaption(QStringLiteral("BOBBY - Instant Message")));

        // The main window's View Profile: a group does nothing, a buddy opens
        // the page.
        rig.main.tvBuddies().setCurrentItem(rig.main.tvBuddies().topLevelItem(0));
        rig.action("mnuToolsViewProfile")->trigger();
        rig.main.tvBuddies().setCurrentItem(rig.buddies.findBuddy(QStringLiteral("carol1")));
        rig.action("mnuToolsViewProfile")->trigger();
        QCOMPARE(rig.desktop.urls, (QStringList{profile + "bobby", profile + "carol1"}));
    }
};

QTEST_MAIN(ContactsTest)
#include "contacts_test.moc"
