// Real clients against the real velmorad of this build, one server per
// scenario: accounts (signing up, logging in through the login window, a
// buddy list, a buddy coming and going, the directory search), private
// messages (what each side reads, and the messages that wait for an absent
// user: stored at login, shown in the offline window, kept across a restart
// of the client) and a conference of three. Refusals the server decides
// are the server tests'; what a window does with each answer, the window
// tests'. With VELMORA_SCREENSHOTS set, also pictures of the main, login,
// search, conversation and conference windows.
#include "conference/conf_open_dialog.h"
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "conference/received_invitation_dialog.h"
#include "conference/send_invitation_dialog.h"
#include "contacts/search_window.h"
#include "controls/buddy_list.h"
#include "controls/font_toolbar.h"
#include "messaging/offline_window.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "session/reconnect.h"
#include "session/session.h"
#include "shell/login_window.h"
#include "shell/main_window.h"
#include "shell/registration_window.h"
#include "support/client_rig.h"
#include "support/e2e.h"

#include <QApplication>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::child;
using velmora::test::E2eUser;
using velmora::test::hasLog;
using velmora::test::send;
using velmora::test::shown;

namespace {

bool boxes(E2eUser& user, qsizetype count) {
    return QTest::qWaitFor([&] { return user.prompter.boxes.size() == count; }, 10000);
}

// Waits until `buddy`'s node key starts with `state`: 'n' online, 'f' offline.
bool shows(E2eUser& user, const QString& buddy, char state) {
    return QTest::qWaitFor([&] {
        return BuddyList::keyOf(user.client->mainWindow().buddies().findBuddy(buddy))
            .startsWith(QLatin1Char(state));
    });
}

ConfWindow* room(E2eUser& p) {
    return p.client->session().findChild<ConferenceRooms*>()->room();
}

bool openRoom(E2eUser& p) {
    child<QAction>(p.client->mainWindow(), "mnuToolsOpenConference")->trigger();
    shown<ConfOpenDialog>(p)->txtConfName().setText("lobby");
    child<QPushButton>(*shown<ConfOpenDialog>(p), "cmdOK")->click();
    return room(p) != nullptr;
}

// `host` makes `guest` a buddy, invites them from the room window's dialog,
// and `guest` accepts.
bool invite(E2eUser& host, E2eUser& guest) {
    host.client->session().connection().SendData(" ## cmdAB /:/ " + host.name + " /:/ " +
                                                 guest.name);
    if (!QTest::qWaitFor([&] {
            return host.client->mainWindow().buddies().onlineBuddies().contains(guest.name);
        })) {
        return false;
    }
    room(host)->inviteUsers();
    QTreeWidget& users = shown<SendInvitationDialog>(host)->tvUsers();
    for (int i = 0; i < users.topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = users.topLevelItem(i);
        item->setCheckState(0, item->text(0) == guest.name ? Qt::Checked : Qt::Unchecked);
    }
    child<QPushButton>(*shown<SendInvitationDialog>(host), "cmdInvite")->click();
    auto* invitation = shown<ReceivedInvitationDialog>(guest);
    return invitation && (invitation->findChild<QPushButton*>("cmdYes")->click(), true);
}

bool roomHas(E2eUser& p, const QStringList& members) {
    return QTest::qWaitFor([&] { return room(p) && room(p)->members() == members; });
}

bool roomReads(E2eUser& p, const QString& text) {
    return QTest::qWaitFor([&] { return test::shownText(room(p)->brwMessage()).contains(text); });
}

} // namespace

class E2eTest : public QObject {
    Q_OBJECT

private slots:
    void signUpBuddiesAndSearch() {
        test::VelmoradProcess server({{"alicia", "alicia1"},
                                      {"bobby2", "bobby22"},
                                      {"robbie1", "robbie11"},
                                      {"bobbie_lee", "bobbie1"},
                                      {"carol1", "carol11"}});
        QVERIFY(server.start());

        // bobby signs up from the login window.
        E2eUser bobby("bobby");
        bobby.client->start();
        bobby.client->loginWindow().findChild<QPushButton*>("cmdNewAccount")->click();
        RegistrationWindow* signUp = findRegistrationWindow(bobby.client->session());
        QVERIFY(signUp && signUp->isVisible());
        child<QLineEdit>(*signUp, "txtHost")->setText(server.address());
        child<QLineEdit>(*signUp, "txtUName")->setText("bobby");
        child<QLineEdit>(*signUp, "txtPWord")->setText("bobby1");
        child<QLineEdit>(*signUp, "txtPWordConfirm")->setText("bobby1");
        child<QPushButton>(*signUp, "cmdSignUp")->click();
        // The login that follows is the proof that the account exists.
        QVERIFY(boxes(bobby, 1));
        bobby.prompter.reset();
        QVERIFY(bobby.logIn(server, "bobby1"));

        // Buddies join the list offline.
        for (const char* buddy : {"alicia", "carol1"}) {
            child<QAction>(bobby.client->mainWindow(), "mnuToolsAddContact")->trigger();
            QWidget* dialog =
                bobby.client->session().findWindowByName(QStringLiteral("frmAddBuddy"));
            child<QLineEdit>(*dialog, "txtUName")->setText(QString::fromLatin1(buddy));
            child<QPushButton>(*dialog, "cmdAddBuddy")->click();
            QVERIFY(shows(bobby, buddy, 'f'));
        }

        E2eUser alicia("alicia");
        // alicia logs in: bobby sees her online.
        QVERIFY(alicia.logIn(server, "alicia1"));
        QVERIFY(shows(bobby, "alicia", 'n'));
        bobby.client->mainWindow().tvBuddies().setCurrentItem(
            bobby.client->mainWindow().buddies().findBuddy("alicia"));
        QVERIFY(test::saveScreenshot(bobby.client->mainWindow(), "main-window.png"));
        QVERIFY(test::saveScreenshotWithMenu(bobby.client->mainWindow(),
                                             *child<QMenu>(bobby.client->mainWindow(), "mnuFile"),
                                             "main-window-menu.png"));

        // alicia searches for part of a name.
        child<QAction>(alicia.client->mainWindow(), "mnuToolsSearchUsers")->trigger();
        SearchUsersWindow* search = findSearchWindow(alicia.client->session());
        QVERIFY(search && search->isVisible());
        auto* query = search->findChild<QLineEdit*>(QStringLiteral("txtQuery"));
        auto* results = search->findChild<QListWidget*>(QStringLiteral("lvResults"));
        query->setText("OBB");
        QTest::keyClick(query, Qt::Key_Return);
        QVERIFY(QTest::qWaitFor([&] { return search->statusText().startsWith("[ Search"); }));
        QStringList names;
        for (int i = 0; i < results->count(); ++i) {
            names << results->item(i)->text();
        }
        QCOMPARE(names, (QStringList{"bobbie_lee", "bobby", "bobby2", "robbie1"}));
        results->setCurrentRow(1);
        QVERIFY(test::saveScreenshot(*search, "search.png"));

        // alicia logs out from the File menu: back to "Offline Buddies".
        child<QAction>(alicia.client->mainWindow(), "mnuFileLogInOut")->trigger();
        QVERIFY(shows(bobby, "alicia", 'f'));
        LoginWindow* login = alicia.client->existingLoginWindow();
        QVERIFY(login && login->isVisible());
        child<QLineEdit>(*login, "txtPWord")->setText("alicia1");
        QVERIFY(test::saveScreenshot(*login, "login.png"));
        QCOMPARE(bobby.prompter.texts().size(), 2); // the two "added" notes
    }

    void privateMessagesArriveAndWaitForAnAbsentUser() {
        test::VelmoradProcess server(
            {{"alicia", "alicia1"}, {"bobby", "bobby1"}, {"carol1", "carol11"}});
        QVERIFY(server.start());
        E2eUser alicia("alicia");
        E2eUser bobby("bobby");
        QVERIFY(alicia.logIn(server, "alicia1"));
        QVERIFY(bobby.logIn(server, "bobby1"));

        PMWindow* toBobby = OpenPMWindow(alicia.client->session(), "bobby");
        send(*toBobby, "hello world :)");
        PMWindow* toAlicia = shown<PMWindow>(bobby);
        QVERIFY(toAlicia);
        QVERIFY(hasLog(*toAlicia, "alicia: hello world :)\n"));

        // bobby answers in his font; it lands in alicia's open window.
        send(*toAlicia, "got it :D see www.velmora.org", "Verdana");
        QVERIFY(hasLog(*toBobby, QStringLiteral("alicia: hello world :)\n"
                                                "bobby: got it :D see www.velmora.org\n")));
        QVERIFY(toBobby->brwMessage().source().contains("face=\"Verdana\""));
        QVERIFY(test::saveScreenshot(*toBobby, "conversation.png"));

        // Markup, quotes, Unicode and 4,000 characters arrive as text.
        const QString special = QStringLiteral("<b> \"quoted\" & Grüße, 你好 %% ");
        const QString longLine = QStringLiteral("abcdefghi ").repeated(399) + "abcdefghij";
        send(*toBobby, special);
        send(*toBobby, longLine);
        QVERIFY(hasLog(*toAlicia, "alicia: hello world :)\nbobby: got it :D see www.velmora.org\n"
                                  "alicia: <b> \"quoted\" & Grüße, 你好\nalicia: " +
                                      longLine + "\n"));

        // carol1 has never logged in: the server keeps her messages.
        PMWindow* toCarol = OpenPMWindow(alicia.client->session(), "carol1");
        send(*toCarol, "it's me, see you at 5");
        send(*toCarol, "second note");
        QVERIFY(boxes(alicia, 2)); // the two "is offline" notes

        // carol1 logs in: her offline window opens on the first message; the
        // second waits in bold until shown.
        E2eUser carol("carol1");
        QVERIFY(carol.logIn(server, "carol11"));
        OfflineMessagesWindow* window = shown<OfflineMessagesWindow>(carol);
        QVERIFY(window);
        QTreeWidget* list = &window->lvMessages();
        QCOMPARE(list->topLevelItemCount(), 2);
        QCOMPARE(list->topLevelItem(0)->text(1), QStringLiteral("alicia"));
        QCOMPARE(list->topLevelItem(0)->text(2), QStringLiteral("it's me, see you at 5"));
        QVERIFY(list->topLevelItem(1)->font(0).bold());
        list->setCurrentItem(list->topLevelItem(1));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {},
                          list->visualItemRect(list->topLevelItem(1)).center());

        // After a restart both are still there, read.
        carol.restart();
        QVERIFY(carol.logIn(server, "carol11"));
        QVERIFY(!carol.client->session().findWindow<OfflineMessagesWindow>()); // nothing new waited
        child<QAction>(carol.client->mainWindow(), "mnuToolsOfflineMsgs")->trigger();
        window = carol.client->session().findWindow<OfflineMessagesWindow>();
        QVERIFY(window);
        QCOMPARE(window->lvMessages().topLevelItemCount(), 2);
        QVERIFY(!window->lvMessages().topLevelItem(1)->font(0).bold());
        QVERIFY(bobby.prompter.boxes.isEmpty() && carol.prompter.boxes.isEmpty());
    }

    void threeTalkInARoomAndOneLeaves() {
        test::VelmoradProcess server(
            {{"alicia", "alicia1"}, {"bobby", "bobby1"}, {"carol1", "carol1"}});
        QVERIFY(server.start());
        E2eUser alicia("alicia");
        E2eUser bobby("bobby");
        E2eUser carol("carol1");
        QVERIFY(bobby.logIn(server, "bobby1"));
        QVERIFY(carol.logIn(server, "carol1"));
        QVERIFY(alicia.logIn(server, "alicia1"));

        QVERIFY(openRoom(alicia));
        QVERIFY(roomHas(alicia, {"alicia"}));
        QVERIFY(invite(alicia, bobby));
        QVERIFY(roomHas(bobby, {"alicia", "bobby"}));
        QVERIFY(invite(alicia, carol));
        QVERIFY(roomHas(alicia, {"alicia", "bobby", "carol1"}));

        // Everyone reads every line, in order, with smilies drawn.
        test::say(room(alicia)->txtSendMsg(), "Welcome to the lobby, both of you :)");
        QVERIFY(roomReads(carol, "alicia: Welcome to the lobby, both of you \ufffc "));
        test::say(room(bobby)->txtSendMsg(), "Thanks! Has anyone seen the release notes?");
        QVERIFY(roomReads(carol, "bobby: Thanks! Has anyone seen the release notes? "));
        test::say(room(carol)->txtSendMsg(), "They are on www.velmora.example/notes ;)");
        for (E2eUser* p : {&alicia, &bobby, &carol}) {
            QVERIFY(roomReads(*p, "alicia: Welcome to the lobby, both of you \ufffc \n"
                                  "bobby: Thanks! Has anyone seen the release notes? \n"
                                  "carol1: They are on www.velmora.example/notes \ufffc "));
        }
        room(alicia)->resize(720, 480);
        QVERIFY(test::saveScreenshot(*room(alicia), "conference.png"));
        room(alicia)->tvUsers().setCurrentItem(room(alicia)->tvUsers().topLevelItem(1));
        QVERIFY(test::saveScreenshotWithMenu(*room(alicia),
                                             *child<QMenu>(*room(alicia), "mnuUsers"),
                                             QStringLiteral("conference-users-menu.png")));

        room(bobby)->close();
        QVERIFY(roomHas(alicia, {"alicia", "carol1"}));
    }

    void aDroppedConnectionComesBackWhenTheServerDoes() {
        // Doubling from 1 s with a fifth either way, at most a minute.
        QCOMPARE(reconnectDelayMs(1, -1), 1600);
        QCOMPARE(reconnectDelayMs(2, 1), 4800);
        QCOMPARE(reconnectDelayMs(40, 1), 60000);

        test::VelmoradProcess server({{"alicia", "alicia1"}, {"bobby", "bobby1"}});
        QVERIFY(server.start());
        E2eUser alicia("alicia");
        E2eUser bobby("bobby");
        QVERIFY(alicia.logIn(server, "alicia1"));
        QVERIFY(bobby.logIn(server, "bobby1"));
        PMWindow* toAlicia = OpenPMWindow(bobby.client->session(), "alicia");
        QVERIFY(openRoom(bobby) && roomHas(bobby, {"bobby"}));
        MainWindow& main = bobby.client->mainWindow();
        const auto status = [&](const QString& text) {
            return QTest::qWaitFor([&] { return main.connectStatus() == text; }, 15000);
        };

        // bobby clicks into the room's input box, then goes on to alicia's
        // window, where the caret is in the input box.
        QTest::mouseClick(room(bobby)->txtSendMsg().viewport(), Qt::LeftButton);
        toAlicia->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(toAlicia));
        QCOMPARE(QApplication::focusWidget(), &toAlicia->txtSendMsg());

        // The server goes away: the window is muted, and bobby waits to retry.
        server.stop();
        QVERIFY(status(QStringLiteral("-> Reconnecting in 1 s")));
        QVERIFY(!toAlicia->txtSendMsg().isEnabled());
        QVERIFY(server.start());
        QVERIFY(status(QStringLiteral("-> Connected [bobby]")));
        QVERIFY(toAlicia->txtSendMsg().isEnabled());
        // What bobby types goes where it went before, in both windows.
        QCOMPARE(QApplication::focusWidget(), &toAlicia->txtSendMsg());
        room(bobby)->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(room(bobby)));
        QCOMPARE(QApplication::focusWidget(), &room(bobby)->txtSendMsg());
        QVERIFY(QTest::qWaitFor([&] {
            return alicia.client->mainWindow().connectStatus() == "-> Connected [alicia]";
        }));
        send(*toAlicia, "back again");
        PMWindow* fromBobby = shown<PMWindow>(alicia);
        QVERIFY(fromBobby && hasLog(*fromBobby, "bobby: back again\n"));
        QVERIFY(roomHas(bobby, {"bobby"})); // back in the room, too
        test::say(room(bobby)->txtSendMsg(), "still here");
        QVERIFY(roomReads(bobby, "bobby: still here"));

        // The second wait is about 2 s, counted down; logging out while
        // waiting ends it.
        server.stop();
        QVERIFY(status(QStringLiteral("-> Reconnecting in 2 s")));
        QVERIFY(status(QStringLiteral("-> Reconnecting in 1 s")));
        child<QAction>(main, "mnuFileLogInOut")->trigger();
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(!bobby.client->session().reconnect().pending());

        // A login the server refuses ends it too.
        QVERIFY(server.start());
        QVERIFY(bobby.logIn(server, "bobby1"));
        server.stop();
        QVERIFY(status(QStringLiteral("-> Reconnecting in 1 s")));
        QVERIFY(server.start({QStringLiteral("--min-version"), QStringLiteral("99.0")}));
        QVERIFY(QTest::qWaitFor([&] { return !bobby.client->session().reconnect().pending(); }));
        QCOMPARE(main.connectStatus(), QStringLiteral("-> Disconnected"));
        QVERIFY(bobby.prompter.boxes.isEmpty());
    }
};

QTEST_MAIN(E2eTest)
#include "e2e_test.moc"
