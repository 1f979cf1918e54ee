// Invitations both ways: inviting online buddies into the room, and the
// dialog that each invitation from someone else opens.
#include "conference_rig.h"

#include "conference/invitation_dialog.h"
#include "conference/invite_dialog.h"
#include "contacts/buddy_list.h"
#include "shell/main_window.h"

#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::ConferenceRig;

namespace {
QStringList names(QTreeWidget& tree) {
    QStringList out;
    for (int i = 0; i < tree.topLevelItemCount(); ++i) {
        out.append(tree.topLevelItem(i)->text(0));
    }
    return out;
}
} // namespace

class ConferenceInviteTest : public QObject {
    Q_OBJECT

private slots:
    void onlyOnlineBuddiesOutsideTheRoomAreOffered() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        rig.client.session().intServerLimit = 3;
        rig.client.mainWindow().buddies().onBuddyList(
            "n %/ bobby :%: f %/ dave1 :%: n %/ Carol1 :%: n %/ erin1");
        ConfWindow& room = rig.openLobby();
        QVERIFY(rig.feedUntil(" ## +CDet /$/  :/ alicia :/ carol1",
                              [&] { return room.members().size() == 2; }));

        room.inviteUsers();
        auto* dialog = rig.window<InviteDialog>("frmInviteConference");
        QVERIFY(dialog);
        QCOMPARE(names(dialog->tvUsers()), (QStringList{"bobby", "erin1"}));
        auto* invite = dialog->findChild<QPushButton*>(QStringLiteral("cmdInvite"));

        invite->click();
        QCOMPARE(rig.prompter.beeps(), 1);
        QVERIFY(dialog->isVisible());

        dialog->tvUsers().topLevelItem(0)->setCheckState(0, Qt::Checked);
        dialog->txtSendMsg().setPlainText(QStringLiteral("come in"));
        invite->click();
        QVERIFY(rig.server.waitForReceived("come%%in"));
        QCOMPARE(rig.server.received(),
                 QByteArray(" ## cmdCI /:/ alicia /:/ lobby /:/  :/ bobby /:/ come%%in"));
        QVERIFY(QTest::qWaitFor([&] { return !rig.window<InviteDialog>("frmInviteConference"); }));
        QVERIFY(rig.prompter.boxes().isEmpty());
    }

    void aRoomAtTheLimitInvitesNobody() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        rig.client.session().intServerLimit = 2;
        rig.client.mainWindow().buddies().onBuddyList("n %/ bobby :%: n %/ erin1");
        ConfWindow& room = rig.openLobby();
        QVERIFY(rig.feedUntil(" ## +CDet /$/  :/ alicia :/ carol1",
                              [&] { return room.members().size() == 2; }));

        room.inviteUsers();
        auto* dialog = rig.window<InviteDialog>("frmInviteConference");
        dialog->tvUsers().topLevelItem(0)->setCheckState(0, Qt::Checked);
        dialog->findChild<QPushButton*>(QStringLiteral("cmdInvite"))->click();
        QCOMPARE(rig.prompter.texts(),
                 QStringList{"Error: The conference already has the maximum users allowed!"});
        QTest::qWait(50);
        QVERIFY(rig.server.received().isEmpty());
    }

    void eachInvitationOpensItsOwnDialog() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        QVERIFY(
            rig.feedUntil(" ## +CI /$/ bobby /$/ lobby /$/ come%%on%%in ## +CI /$/ carol1 /$/ "
                          "games /$/ ",
                          [&] { return rig.windows<InvitationDialog>("frmInvConf").size() == 2; }));
        const auto dialogs = rig.windows<InvitationDialog>("frmInvConf");
        InvitationDialog* fromBobby = dialogs[0]->strFromWho() == "bobby" ? dialogs[0] : dialogs[1];
        InvitationDialog* fromCarol = dialogs[0] == fromBobby ? dialogs[1] : dialogs[0];
        QVERIFY(fromBobby->windowTitle().startsWith(QStringLiteral("Conference Invitation - [")));
        QCOMPARE(fromBobby->invitationText(),
                 QStringLiteral("bobby has invited you to the conference \"lobby\"."));
        QCOMPARE(fromBobby->txtMsg().toPlainText(), QStringLiteral("come on in"));

        // No: the dialog goes and nobody hears of it.
        fromCarol->findChild<QPushButton*>(QStringLiteral("cmdNo"))->click();
        QTest::qWait(50);
        QVERIFY(rig.server.received().isEmpty());
        QVERIFY(!rig.room());

        // Yes: the same join as opening the room by name.
        fromBobby->findChild<QPushButton*>(QStringLiteral("cmdYes"))->click();
        QVERIFY(rig.server.waitForReceived(" ## cmdCO /:/ alicia /:/ lobby"));
        QCOMPARE(rig.server.received(), QByteArray(" ## cmdCO /:/ alicia /:/ lobby"));
        QVERIFY(rig.room() && rig.room()->isVisible());
        QCOMPARE(rig.room()->strConfName(), QStringLiteral("lobby"));
        QVERIFY(
            QTest::qWaitFor([&] { return rig.windows<InvitationDialog>("frmInvConf").isEmpty(); }));
    }
};

QTEST_MAIN(ConferenceInviteTest)
#include "conference_invite_test.moc"
