// The conference windows against a loopback server: opening a room, the
// members and notices, whose lines are whose, the bytes of joining,
// talking, leaving and inviting, and the invitations that arrive.
#include "app/client.h"
#include "conference/conf_window.h"
#include "conference/conference_rooms.h"
#include "conference/invitation_dialog.h"
#include "conference/invite_dialog.h"
#include "contacts/buddy_list.h"
#include "controls/font_toolbar.h"
#include "platform/html_message_view.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QDialog>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::child;
using velmora::test::shownText;

namespace {

const QString kNotice =
    QStringLiteral("<font name=\"MS Sans Serif\" size=\"3.3\" color=\"#FF0000\">");

// alicia, logged in against the loopback server.
struct Rig : velmora::test::ClientRig {
    Rig() { (void)logIn(QStringLiteral("alicia")); }
    ConferenceRooms& rooms() { return *client.findChild<ConferenceRooms*>(); }
    ConfWindow* room() { return rooms().room(); }

    // Room "lobby" open with these members; the join command is forgotten.
    ConfWindow& lobby(const QByteArray& members) {
        ConfWindow& room = rooms().showRoom(QStringLiteral("lobby"));
        rooms().sendJoin(QStringLiteral("lobby"));
        (void)sent();
        if (!members.isEmpty()) {
            (void)feed(" ## +CDet /$/  :/ " + members,
                       [&] { return room.members().size() == members.count(':') + 1; });
        }
        return room;
    }
};

} // namespace

class ConferenceTest : public QObject {
    Q_OBJECT

private slots:
    void openingChecksTheNameBeforeJoining() {
        Rig rig;
        rig.action("mnuToolsOpenConference")->trigger();
        auto* open = rig.window<QDialog>("frmConfOpen");
        QVERIFY(open);
        auto* name = child<QLineEdit>(*open, "txtConfName");
        name->setText(QStringLiteral("lob"));
        child<QPushButton>(*open, "cmdOK")->click();
        QCOMPARE(rig.prompter.beeps, 1);
        name->setText(QStringLiteral("lob by"));
        child<QPushButton>(*open, "cmdOK")->click();
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"Error: You have not entered a valid conference name!\r\n"
                             "Conference names can only contain Alpha Numberic Characters!\r\n"
                             "[With the exception of \"-\" and \"_\"]"});
        QCOMPARE(rig.prompter.boxes[0].title, QStringLiteral("Input Error"));
        QVERIFY(!rig.room());
        QCOMPARE(rig.sent(), QByteArray());

        name->setText(QStringLiteral("Lob_1"));
        child<QPushButton>(*open, "cmdOK")->click();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdCO /:/ alicia /:/ Lob_1"));
        QVERIFY(rig.room() && rig.room()->isVisible());
        QCOMPARE(rig.room()->strConfName(), QStringLiteral("Lob_1"));
    }

    void membersAreListedOnceWithTheirNoticesAndSounds() {
        Rig rig;
        ConfWindow& room = rig.lobby({});
        // A member announced before the details arrive is not listed twice.
        QVERIFY(rig.feed(" ## +CO /$/ bobby", [&] { return room.members().size() == 1; }));
        const QString before = room.brwMessage().source();
        QVERIFY(rig.feed(" ## +CDet /$/  :/ alicia :/ BOBBY :/ carol1",
                         [&] { return room.members().size() == 3; }));
        QCOMPARE(room.members(), (QStringList{"alicia", "BOBBY", "carol1"}));
        QCOMPARE(room.brwMessage().source().mid(before.size()),
                 kNotice + "----> Entered Conference \"lobby\"</font>\r\n<br><br>\r\n");
        QCOMPARE(room.windowTitle(), QStringLiteral("lobby - [ Conference Room ]"));

        QVERIFY(rig.feed(" ## +CO /$/ CAROL1 ## +CE /$/ bobby ## +CDet /$/ ConfFull",
                         [&] { return rig.prompter.boxes.size() == 1; }));
        QCOMPARE(room.members(), (QStringList{"alicia", "CAROL1"}));
        QVERIFY(room.brwMessage().source().endsWith("<br>" + kNotice +
                                                    " -> CAROL1 Entered</font>\r\n<br>\r\n<br>" +
                                                    kNotice + " -> bobby Left</font>\r\n<br>\r\n"));
        const QString sounds = rig.home.path() + QStringLiteral("/Sounds/");
        QCOMPARE(rig.desktop.sounds, (QStringList{sounds + "Enter.wav", sounds + "Enter.wav",
                                                  sounds + "Enter.wav", sounds + "Exit.wav"}));
        // A full room: one box, owned by the room, and nothing else changes.
        const test::ShownBox& box = rig.prompter.boxes[0];
        QCOMPARE(box.text, QStringLiteral("Sorry, this conference already has the maximum users "
                                          "allowed in a conference!"));
        QCOMPARE(box.title, QStringLiteral("Conference Full"));
        QCOMPARE(box.owner, &room);
        QCOMPARE(room.members().size(), 2);
    }

    void linesAreColouredBySenderAndSentInWireForm() {
        Rig rig;
        ConfWindow& room = rig.lobby({});
        QVERIFY(rig.feed(" ## +CM /$/ ALICIA /$/ hi%%all /$/ Arial /$/ 12 /$/ B",
                         [&] { return shownText(room.brwMessage()).endsWith("ALICIA: hi all "); }));
        QCOMPARE(test::lastNameColour(room.brwMessage()), QColor(ConfWindow::kOwnColour));
        QVERIFY(rig.feed(" ## +CM /$/ bobby /$/ hey /$/ Tahoma /$/ 10 /$/ ",
                         [&] { return shownText(room.brwMessage()).endsWith("bobby: hey "); }));
        QCOMPARE(test::lastNameColour(room.brwMessage()), QColor(ConfWindow::kOthersColour));

        // A typed "%%" is a space and runs of spaces shrink to one; the line
        // is drawn only when the server echoes it.
        const QString shown = room.brwMessage().source();
        test::useFont(room.tbFontSettings(), "Arial", "12", "IU");
        room.txtSendMsg().setPlainText(QStringLiteral("see  you%%there"));
        QTest::keyClick(&room.txtSendMsg(), Qt::Key_Return);
        QCOMPARE(rig.sent(),
                 QByteArray(" ## cmdCM /:/ alicia /:/ lobby /:/ see%%you%%there /:/ Arial /:/ 12 "
                            "/:/ IU"));
        QVERIFY(room.txtSendMsg().toPlainText().isEmpty() && room.txtSendMsg().isEnabled());
        QCOMPARE(room.brwMessage().source(), shown);
        // Blanks only: a beep and nothing on the wire.
        room.txtSendMsg().setPlainText(QStringLiteral("  %% "));
        child<QPushButton>(room, "cmdSend")->click();
        QCOMPARE(rig.prompter.beeps, 1);
        QCOMPARE(rig.sent(), QByteArray());
    }

    void leavingAsksFirstAndALostConnectionMutesTheRoom() {
        Rig rig;
        ConfWindow* room = &rig.lobby("alicia :/ bobby");
        rig.prompter.answers = {answer::kNo, answer::kYes};
        room->close();
        QVERIFY(room->isVisible());
        QCOMPARE(rig.sent(), QByteArray());
        QCOMPARE(rig.prompter.boxes[0].text,
                 QStringLiteral("You are about to exit the conference \"lobby\".\r\n"
                                "Do you wish to continue?"));
        QCOMPARE(rig.prompter.boxes[0].title, QStringLiteral("Exit Conference"));
        QCOMPARE(rig.prompter.boxes[0].style, style::kYesNoQuestion);
        room->close();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdCE /:/ alicia /:/ lobby"));
        QVERIFY(QTest::qWaitFor([&] { return rig.room() == nullptr; }));

        // A lost connection leaves the window open but mute.
        ConfWindow& again = rig.lobby("alicia :/ bobby");
        again.txtSendMsg().setPlainText(QStringLiteral("unsent"));
        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return again.strConfName().isEmpty(); }));
        QVERIFY(again.isVisible() && !again.txtSendMsg().isEnabled());
        QVERIFY(!child<QPushButton>(again, "cmdSend")->isEnabled());
        QCOMPARE(again.tvUsers().topLevelItemCount(), 0);
        QCOMPARE(again.txtSendMsg().toPlainText(), QStringLiteral("unsent"));
        QCOMPARE(rig.prompter.boxes.size(), 2); // the two questions only
    }

    void onlyOnlineBuddiesOutsideTheRoomAreInvited() {
        Rig rig;
        rig.client.session().intServerLimit = 3;
        rig.client.mainWindow().buddies().onBuddyList(
            "n %/ bobby :%: f %/ dave1 :%: n %/ Carol1 :%: n %/ erin1");
        ConfWindow& room = rig.lobby("alicia :/ carol1");
        room.inviteUsers();
        auto* dialog = rig.window<InviteDialog>("frmInviteConference");
        QVERIFY(dialog);
        QCOMPARE(dialog->tvUsers().topLevelItemCount(), 2);
        QCOMPARE(dialog->tvUsers().topLevelItem(0)->text(0), QStringLiteral("bobby"));
        QCOMPARE(dialog->tvUsers().topLevelItem(1)->text(0), QStringLiteral("erin1"));
        auto* invite = child<QPushButton>(*dialog, "cmdInvite");
        invite->click(); // nobody checked
        QCOMPARE(rig.prompter.beeps, 1);
        QVERIFY(dialog->isVisible());

        dialog->tvUsers().topLevelItem(0)->setCheckState(0, Qt::Checked);
        dialog->txtSendMsg().setPlainText(QStringLiteral("come in"));
        invite->click();
        QCOMPARE(rig.sent(),
                 QByteArray(" ## cmdCI /:/ alicia /:/ lobby /:/  :/ bobby /:/ come%%in"));
        QVERIFY(QTest::qWaitFor([&] { return !rig.window<InviteDialog>("frmInviteConference"); }));

        // A room at the limit invites nobody.
        rig.client.session().intServerLimit = 2;
        room.inviteUsers();
        dialog = rig.window<InviteDialog>("frmInviteConference");
        dialog->tvUsers().topLevelItem(0)->setCheckState(0, Qt::Checked);
        child<QPushButton>(*dialog, "cmdInvite")->click();
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"Error: The conference already has the maximum users allowed!"});
        QCOMPARE(rig.sent(), QByteArray());
    }

    void eachInvitationOpensItsOwnDialog() {
        Rig rig;
        QVERIFY(rig.feed(
            " ## +CI /$/ bobby /$/ lobby /$/ come%%on%%in ## +CI /$/ carol1 /$/ games /$/ ",
            [&] { return rig.windows<InvitationDialog>("frmInvConf").size() == 2; }));
        auto dialogs = rig.windows<InvitationDialog>("frmInvConf");
        if (dialogs[0]->strFromWho() != QStringLiteral("bobby")) {
            std::swap(dialogs[0], dialogs[1]);
        }
        QVERIFY(dialogs[0]->windowTitle().startsWith(QStringLiteral("Conference Invitation - [")));
        QCOMPARE(dialogs[0]->invitationText(),
                 QStringLiteral("bobby has invited you to the conference \"lobby\"."));
        QCOMPARE(dialogs[0]->txtMsg().toPlainText(), QStringLiteral("come on in"));
        // No: the dialog goes and nobody hears of it.
        child<QPushButton>(*dialogs[1], "cmdNo")->click();
        QCOMPARE(rig.sent(), QByteArray());
        QVERIFY(!rig.room());
        // Yes: the same join as opening the room by name.
        child<QPushButton>(*dialogs[0], "cmdYes")->click();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdCO /:/ alicia /:/ lobby"));
        QVERIFY(rig.room() && rig.room()->isVisible());
        QCOMPARE(rig.room()->strConfName(), QStringLiteral("lobby"));
        QVERIFY(
            QTest::qWaitFor([&] { return rig.windows<InvitationDialog>("frmInvConf").isEmpty(); }));
    }
};

QTEST_MAIN(ConferenceTest)
#include "conference_test.moc"
