// A conference against the real server: alicia opens a room and invites
// bobby and carol1, all three talk, dave1 finds the room full, bobby leaves.
// When the environment variable VELMORA_SCREENSHOT names a file, a picture
// of the three talking is saved there.
#include "conference/conf_open_dialog.h"
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "conference/invitation_dialog.h"
#include "conference/invite_dialog.h"
#include "contacts/buddy_list.h"
#include "controls/font_toolbar.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "shell/main_window.h"
#include "support/e2e_user.h"

#include <QAction>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTreeWidget>

#include <array>

using namespace velmora;
using velmora::test::E2eUser;

namespace {

ConfWindow* room(E2eUser& p) {
    return p.client->findChild<ConferenceRooms*>()->room();
}

template <typename T> T* visible(E2eUser& p, const char* objectName) {
    for (QWidget* w : p.client->windows()) {
        if (w->objectName() == QLatin1String(objectName) && w->isVisible()) {
            return qobject_cast<T*>(w);
        }
    }
    return nullptr;
}

bool openRoom(E2eUser& p, const QString& roomName) {
    p.client->mainWindow().findChild<QAction*>(QStringLiteral("mnuToolsOpenConference"))->trigger();
    auto* open = visible<ConfOpenDialog>(p, "frmConfOpen");
    if (!open) {
        return false;
    }
    open->txtConfName().setText(roomName);
    open->findChild<QPushButton*>(QStringLiteral("cmdOK"))->click();
    return room(p) != nullptr;
}

void say(E2eUser& p, const QString& text) {
    room(p)->txtSendMsg().setPlainText(text);
    QTest::keyClick(&room(p)->txtSendMsg(), Qt::Key_Return);
}

bool addBuddy(E2eUser& p, const QString& buddy) {
    p.client->connection().SendData(" ## cmdAB /:/ " + p.name + " /:/ " + buddy);
    return QTest::qWaitFor(
        [&] { return p.client->mainWindow().buddies().onlineBuddies().contains(buddy); }, 5000);
}

// `host` invites `guest` from the room window's dialog; `guest` accepts.
bool invite(E2eUser& host, E2eUser& guest) {
    room(host)->inviteUsers();
    auto* dialog = visible<InviteDialog>(host, "frmInviteConference");
    if (!dialog) {
        return false;
    }
    QTreeWidget& list = dialog->tvUsers();
    for (int i = 0; i < list.topLevelItemCount(); ++i) {
        if (list.topLevelItem(i)->text(0) == guest.name) {
            list.topLevelItem(i)->setCheckState(0, Qt::Checked);
        }
    }
    dialog->findChild<QPushButton*>(QStringLiteral("cmdInvite"))->click();
    if (!QTest::qWaitFor([&] { return visible<InvitationDialog>(guest, "frmInvConf"); }, 5000)) {
        return false;
    }
    visible<InvitationDialog>(guest, "frmInvConf")
        ->findChild<QPushButton*>(QStringLiteral("cmdYes"))
        ->click();
    return true;
}

// The sender's name as the formatter heads a line in `colour`.
QString lineHead(const QString& colour, const QString& sender) {
    return "<b><font color=\"" + colour + "\" face=\"MS Sans Serif\" size=\"3\">" + sender +
           ":</font></b>&nbsp; ";
}

bool roomHas(E2eUser& p, const QStringList& members) {
    return QTest::qWaitFor([&] { return room(p) && room(p)->members() == members; }, 5000);
}

bool viewHas(E2eUser& p, const QString& html) {
    return QTest::qWaitFor([&] { return room(p)->brwMessage().source().contains(html); }, 5000);
}

} // namespace

class ConferenceE2ETest : public QObject {
    Q_OBJECT

private slots:
    void threeTalkTheFourthFindsTheRoomFull() {
        test::VelmoradProcess server({QStringLiteral("--room-limit"), QStringLiteral("3")});
        QVERIFY(test::startWithUsers(server, {{"alicia", "alicia1"},
                                              {"bobby", "bobby1"},
                                              {"carol1", "carol1"},
                                              {"dave1", "dave11"}}));
        E2eUser alicia(QStringLiteral("alicia"));
        E2eUser bobby(QStringLiteral("bobby"));
        E2eUser carol(QStringLiteral("carol1"));
        E2eUser dave(QStringLiteral("dave1"));
        QVERIFY(bobby.logIn(server, QStringLiteral("bobby1")));
        QVERIFY(carol.logIn(server, QStringLiteral("carol1")));
        QVERIFY(dave.logIn(server, QStringLiteral("dave11")));
        QVERIFY(alicia.logIn(server, QStringLiteral("alicia1")));
        QCOMPARE(alicia.client->session().intServerLimit, qint16(3));
        QVERIFY(addBuddy(alicia, QStringLiteral("bobby")));
        QVERIFY(addBuddy(alicia, QStringLiteral("carol1")));

        QVERIFY(openRoom(alicia, QStringLiteral("lobby")));
        QVERIFY(roomHas(alicia, {"alicia"}));
        QVERIFY(invite(alicia, bobby));
        QVERIFY(roomHas(bobby, {"alicia", "bobby"}));
        QVERIFY(viewHas(alicia, QStringLiteral(" -> bobby Entered</font>")));
        QVERIFY(invite(alicia, carol));
        QVERIFY(roomHas(alicia, {"alicia", "bobby", "carol1"}));

        // Each sees their own lines in blue and the others' in black.
        say(alicia, QStringLiteral("Welcome to the lobby, both of you :)"));
        QVERIFY(viewHas(carol, QStringLiteral("you ")));
        room(bobby)->tbFontSettings().setItalic(true);
        say(bobby, QStringLiteral("Thanks! Has anyone seen the release notes?"));
        QVERIFY(viewHas(carol, QStringLiteral("notes? ")));
        room(carol)->tbFontSettings().setBold(true);
        say(carol, QStringLiteral("They are on www.velmora.example/notes ;)"));
        const std::array<E2eUser*, 3> members{&alicia, &bobby, &carol};
        for (E2eUser* p : members) {
            QVERIFY(viewHas(*p, QStringLiteral("wink.gif")));
            for (E2eUser* other : members) {
                QVERIFY(viewHas(*p, lineHead(p == other ? "#0000C0" : "#000000", other->name)));
            }
            QVERIFY(!room(*p)->brwMessage().source().contains(lineHead("#000000", p->name)));
        }
        const QString shot = qEnvironmentVariable("VELMORA_SCREENSHOT");
        if (!shot.isEmpty()) {
            room(alicia)->resize(720, 480);
            room(alicia)->txtSendMsg().setPlainText(QStringLiteral("See you there"));
            QVERIFY(test::grabWindow(*room(alicia), shot));
        }

        QVERIFY(openRoom(dave, QStringLiteral("lobby")));
        QVERIFY(QTest::qWaitFor([&] { return !dave.prompter.boxes().isEmpty(); }, 5000));
        QCOMPARE(dave.prompter.boxes()[0].title, QStringLiteral("Conference Full"));
        QVERIFY(room(dave)->members().isEmpty());

        room(bobby)->close();
        QVERIFY(roomHas(alicia, {"alicia", "carol1"}));
        QVERIFY(viewHas(alicia, QStringLiteral(" -> bobby Left</font>")));
    }
};

QTEST_MAIN(ConferenceE2ETest)
#include "conference_e2e_test.moc"
