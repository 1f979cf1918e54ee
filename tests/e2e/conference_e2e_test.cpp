// A conference through the real server: alicia opens a room and invites
// bobby and carol1, all three talk and read each other, dave1 finds the
// room full, bobby leaves.
#include "conference/conf_open_dialog.h"
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "conference/invitation_dialog.h"
#include "conference/invite_dialog.h"
#include "contacts/buddy_list.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "shell/main_window.h"
#include "support/client_rig.h"
#include "support/e2e.h"

#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

ConfWindow* room(E2eUser& p) {
    return p.client->findChild<ConferenceRooms*>()->room();
}

// The first visible session window of class T, once there is one.
template <typename T> T* shown(E2eUser& p) {
    T* found = nullptr;
    (void)QTest::qWaitFor([&] {
        for (QWidget* w : p.client->windows()) {
            found = w->isVisible() ? qobject_cast<T*>(w) : nullptr;
            if (found) {
                return true;
            }
        }
        return false;
    });
    return found;
}

bool openRoom(E2eUser& p) {
    p.client->mainWindow().findChild<QAction*>("mnuToolsOpenConference")->trigger();
    shown<ConfOpenDialog>(p)->txtConfName().setText(QStringLiteral("lobby"));
    shown<ConfOpenDialog>(p)->findChild<QPushButton*>(QStringLiteral("cmdOK"))->click();
    return room(p) != nullptr;
}

void say(E2eUser& p, const QString& text) {
    room(p)->txtSendMsg().setPlainText(text);
    QTest::keyClick(&room(p)->txtSendMsg(), Qt::Key_Return);
}

// `host` makes `guest` a buddy, invites them from the room window's dialog,
// and `guest` accepts.
bool invite(E2eUser& host, E2eUser& guest) {
    host.client->connection().SendData(" ## cmdAB /:/ " + host.name + " /:/ " + guest.name);
    if (!QTest::qWaitFor([&] {
            return host.client->mainWindow().buddies().onlineBuddies().contains(guest.name);
        })) {
        return false;
    }
    room(host)->inviteUsers();
    QTreeWidget& users = shown<InviteDialog>(host)->tvUsers();
    for (int i = 0; i < users.topLevelItemCount(); ++i) {
        QTreeWidgetItem* item = users.topLevelItem(i);
        item->setCheckState(0, item->text(0) == guest.name ? Qt::Checked : Qt::Unchecked);
    }
    shown<InviteDialog>(host)->findChild<QPushButton*>(QStringLiteral("cmdInvite"))->click();
    auto* invitation = shown<InvitationDialog>(guest);
    return invitation && (invitation->findChild<QPushButton*>("cmdYes")->click(), true);
}

bool roomHas(E2eUser& p, const QStringList& members) {
    return QTest::qWaitFor([&] { return room(p) && room(p)->members() == members; });
}

bool reads(E2eUser& p, const QString& text) {
    return QTest::qWaitFor([&] { return test::shownText(room(p)->brwMessage()).contains(text); });
}

} // namespace

class ConferenceE2ETest : public QObject {
    Q_OBJECT

private slots:
    void threeTalkTheFourthFindsTheRoomFull() {
        test::VelmoradProcess server(
            {{"alicia", "alicia1"}, {"bobby", "bobby1"}, {"carol1", "carol1"}, {"dave1", "dave11"}},
            {QStringLiteral("--room-limit"), QStringLiteral("3")});
        QVERIFY(server.start());
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));
        E2eUser carol(QStringLiteral("carol1"));
        E2eUser dave(QStringLiteral("dave1"));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(carol.logIn(server, QStringLiteral("carol1")));
        QVERIFY(dave.logIn(server, QStringLiteral("dave11")));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QCOMPARE(alicia.client->session().intServerLimit, qint16(3));

        QVERIFY(openRoom(alicia));
        QVERIFY(roomHas(alicia, {"alicia"}));
        QVERIFY(invite(alicia, bobby));
        QVERIFY(roomHas(bobby, {"alicia", "bobby"}));
        QVERIFY(reads(alicia, QStringLiteral("-> bobby Entered")));
        QVERIFY(invite(alicia, carol));
        QVERIFY(roomHas(alicia, {"alicia", "bobby", "carol1"}));

        // Everyone reads every line, in order, with smilies drawn.
        say(alicia, QStringLiteral("Welcome to the lobby, both of you :)"));
        QVERIFY(reads(carol, QStringLiteral("alicia: Welcome to the lobby, both of you \ufffc ")));
        say(bobby, QStringLiteral("Thanks! Has anyone seen the release notes?"));
        QVERIFY(reads(carol, QStringLiteral("bobby: Thanks! Has anyone seen the release notes? ")));
        say(carol, QStringLiteral("They are on www.velmora.example/notes ;)"));
        for (E2eUser* p : {&alicia, &bobby, &carol}) {
            QVERIFY(reads(*p, QStringLiteral("alicia: Welcome to the lobby, both of you \ufffc \n"
                                             "bobby: Thanks! Has anyone seen the release notes? \n"
                                             "carol1: They are on www.velmora.example/notes "
                                             "\ufffc ")));
        }
        room(alicia)->resize(720, 480);
        QVERIFY(test::saveScreenshot(*room(alicia), QStringLiteral("conference.png")));

        QVERIFY(openRoom(dave));
        QVERIFY(QTest::qWaitFor([&] { return !dave.prompter.boxes.isEmpty(); }));
        QCOMPARE(dave.prompter.boxes[0].title, QStringLiteral("Conference Full"));
        QVERIFY(room(dave)->members().isEmpty());

        room(bobby)->close();
        QVERIFY(roomHas(alicia, {"alicia", "carol1"}));
        QVERIFY(reads(alicia, QStringLiteral("-> bobby Left")));
    }
};

QTEST_MAIN(ConferenceE2ETest)
#include "conference_e2e_test.moc"
