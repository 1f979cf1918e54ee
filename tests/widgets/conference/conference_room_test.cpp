// The room window: opening a room, the details, members coming and going,
// the room's lines with their colours, sending, leaving and losing the
// connection.
#include "conference_rig.h"

#include "controls/font_toolbar.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "shell/main_window.h"

#include <QAction>
#include <QDialog>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::ConferenceRig;

namespace {
const QString kNoticeFont =
    QStringLiteral("<font name=\"MS Sans Serif\" size=\"3.3\" color=\"#FF0000\">");
}

class ConferenceRoomTest : public QObject {
    Q_OBJECT

private slots:
    void openingChecksTheNameBeforeJoining() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        rig.client.mainWindow()
            .findChild<QAction*>(QStringLiteral("mnuToolsOpenConference"))
            ->trigger();
        auto* open = rig.window<QDialog>("frmConfOpen");
        QVERIFY(open);
        auto* name = open->findChild<QLineEdit*>(QStringLiteral("txtConfName"));
        auto* ok = open->findChild<QPushButton*>(QStringLiteral("cmdOK"));

        name->setText(QStringLiteral("lob"));
        ok->click();
        QCOMPARE(rig.prompter.beeps(), 1);
        QVERIFY(rig.prompter.boxes().isEmpty());

        name->setText(QStringLiteral("lob by"));
        ok->click();
        QCOMPARE(rig.prompter.boxes().size(), 1);
        QCOMPARE(rig.prompter.boxes()[0].text,
                 QStringLiteral("Error: You have not entered a valid conference name!\r\n"
                                "Conference names can only contain Alpha Numberic Characters!\r\n"
                                "[With the exception of \"-\" and \"_\"]"));
        QCOMPARE(rig.prompter.boxes()[0].title, QStringLiteral("Input Error"));
        QVERIFY(!rig.room());

        name->setText(QStringLiteral("Lob_1"));
        ok->click();
        QVERIFY(rig.server.waitForReceived(" ## cmdCO /:/ alicia /:/ Lob_1"));
        QCOMPARE(rig.server.received(), QByteArray(" ## cmdCO /:/ alicia /:/ Lob_1"));
        QVERIFY(rig.room() && rig.room()->isVisible());
        QCOMPARE(rig.room()->strConfName(), QStringLiteral("Lob_1"));
    }

    void detailsAndMembersKeepEachNameOnce() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        ConfWindow& room = rig.openLobby();
        const QString sounds = rig.home.path() + QStringLiteral("/Sounds/");

        // A member announced before the details arrive is not listed twice.
        QVERIFY(rig.feedUntil(" ## +CO /$/ bobby", [&] { return room.members().size() == 1; }));
        const QString before = room.brwMessage().source();
        QVERIFY(rig.feedUntil(" ## +CDet /$/  :/ alicia :/ BOBBY :/ carol1",
                              [&] { return room.members().size() == 3; }));
        QCOMPARE(room.members(), (QStringList{"alicia", "BOBBY", "carol1"}));
        QCOMPARE(room.brwMessage().source().mid(before.size()),
                 kNoticeFont +
                     QStringLiteral("----> Entered Conference \"lobby\"</font>\r\n<br><br>\r\n"));
        QCOMPARE(room.windowTitle(), QStringLiteral("lobby - [ Conference Room ]"));

        QVERIFY(rig.feedUntil(" ## +CO /$/ CAROL1 ## +CE /$/ bobby",
                              [&] { return room.members().size() == 2; }));
        QTest::qWait(50);
        QCOMPARE(room.members(), (QStringList{"alicia", "CAROL1"}));
        QVERIFY(room.brwMessage().source().endsWith(
            QStringLiteral("<br>") + kNoticeFont +
            QStringLiteral(" -> CAROL1 Entered</font>\r\n<br>\r\n") + QStringLiteral("<br>") +
            kNoticeFont + QStringLiteral(" -> bobby Left</font>\r\n<br>\r\n")));
        QCOMPARE(rig.desktop.sounds(), (QStringList{sounds + "Enter.wav", sounds + "Enter.wav",
                                                    sounds + "Enter.wav", sounds + "Exit.wav"}));

        // A full room: one box, nothing else changes.
        const QString shown = room.brwMessage().source();
        QVERIFY(rig.feedUntil(" ## +CDet /$/ ConfFull",
                              [&] { return rig.prompter.boxes().size() == 1; }));
        const auto& box = rig.prompter.boxes()[0];
        QCOMPARE(box.text, QStringLiteral("Sorry, this conference already has the maximum users "
                                          "allowed in a conference!"));
        QCOMPARE(box.title, QStringLiteral("Conference Full"));
        QCOMPARE(box.style, style::kOk);
        QCOMPARE(box.owner, &room);
        QCOMPARE(room.brwMessage().source(), shown);
        QCOMPARE(room.members().size(), 2);
    }

    void linesAreColouredBySenderAndSentInWireForm() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        ConfWindow& room = rig.openLobby();
        QVERIFY(
            rig.feedUntil(" ## +CM /$/ ALICIA /$/ hi%%all /$/ Arial /$/ 12 /$/ B ## +CM /$/ bobby "
                          "/$/ hey /$/ Tahoma /$/ 10 /$/ ",
                          [&] { return room.brwMessage().source().contains("hey"); }));
        const QString source = room.brwMessage().source();
        QVERIFY(source.contains(QStringLiteral(
            "<b><font color=\"#0000C0\" face=\"MS Sans Serif\" size=\"3\">ALICIA:</font></b>&nbsp; "
            "<B><font color=\"#0000C0\" face=\"Arial\" size=\"4\">hi all "
            "</font></B>\r\n<br>\r\n")));
        QVERIFY(source.contains(QStringLiteral(
            "<b><font color=\"#000000\" face=\"MS Sans Serif\" size=\"3\">bobby:</font></b>&nbsp; "
            "<font color=\"#000000\" face=\"Tahoma\" size=\"3.33333333333333\">hey "
            "</font>\r\n<br>\r\n")));

        // A typed "%%" is a space and runs of spaces shrink to one; the line
        // is drawn only when the server echoes it.
        FontToolbar& font = room.tbFontSettings();
        font.setFontName(QStringLiteral("Arial"));
        font.setFontSize(QStringLiteral("12"));
        font.setBold(false);
        font.setItalic(true);
        font.setUnderlined(true);
        room.txtSendMsg().setPlainText(QStringLiteral("see  you%%there"));
        QTest::keyClick(&room.txtSendMsg(), Qt::Key_Return);
        QVERIFY(rig.server.waitForReceived("IU"));
        QCOMPARE(rig.server.received(),
                 QByteArray(
                     " ## cmdCM /:/ alicia /:/ lobby /:/ see%%you%%there /:/ Arial /:/ 12 /:/ IU"));
        QVERIFY(room.txtSendMsg().toPlainText().isEmpty());
        QVERIFY(room.txtSendMsg().isEnabled());
        QCOMPARE(room.brwMessage().source(), source);

        // Blanks only: a beep and nothing on the wire.
        rig.server.clearReceived();
        room.txtSendMsg().setPlainText(QStringLiteral("  %% "));
        room.findChild<QPushButton*>(QStringLiteral("cmdSend"))->click();
        QCOMPARE(rig.prompter.beeps(), 1);
        QTest::qWait(50);
        QVERIFY(rig.server.received().isEmpty());
        QVERIFY(room.txtSendMsg().isEnabled());
    }

    void leavingAsksFirst() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        ConfWindow* room = &rig.openLobby();
        QVERIFY(rig.feedUntil(" ## +CDet /$/  :/ alicia :/ bobby",
                              [&] { return room->members().size() == 2; }));

        rig.prompter.queueAnswer(answer::kNo);
        room->close();
        QVERIFY(room->isVisible());
        QTest::qWait(50);
        QVERIFY(rig.server.received().isEmpty());
        const auto& box = rig.prompter.boxes()[0];
        QCOMPARE(box.text, QStringLiteral("You are about to exit the conference \"lobby\".\r\n"
                                          "Do you wish to continue?"));
        QCOMPARE(box.title, QStringLiteral("Exit Conference"));
        QCOMPARE(box.style, style::kYesNoQuestion);

        rig.prompter.queueAnswer(answer::kYes);
        room->close();
        QVERIFY(rig.server.waitForReceived(" ## cmdCE /:/ alicia /:/ lobby"));
        QCOMPARE(rig.server.received(), QByteArray(" ## cmdCE /:/ alicia /:/ lobby"));
        QVERIFY(QTest::qWaitFor([&] { return rig.room() == nullptr; }));
    }

    void aLostConnectionLeavesTheWindowOpenButMute() {
        ConferenceRig rig;
        QVERIFY(rig.connect());
        ConfWindow& room = rig.openLobby();
        QVERIFY(rig.feedUntil(" ## +CDet /$/  :/ alicia :/ bobby",
                              [&] { return room.members().size() == 2; }));
        room.txtSendMsg().setPlainText(QStringLiteral("unsent"));

        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return room.strConfName().isEmpty(); }));
        QVERIFY(room.isVisible());
        QVERIFY(!room.txtSendMsg().isEnabled());
        QVERIFY(!room.findChild<QPushButton*>(QStringLiteral("cmdSend"))->isEnabled());
        QCOMPARE(room.tvUsers().topLevelItemCount(), 0);
        QCOMPARE(room.txtSendMsg().toPlainText(), QStringLiteral("unsent"));
        QVERIFY(rig.prompter.boxes().isEmpty());
    }
};

QTEST_MAIN(ConferenceRoomTest)
#include "conference_room_test.moc"
