// The message window and the send-IM chooser against a loopback server:
// the bytes sent, which window a received line goes to, and what the window
// does around it. The line's HTML is the formatter test's business.
#include "app/client.h"
#include "contacts/buddy_list.h"
#include "controls/font_toolbar.h"
#include "messaging/pm_window.h"
#include "messaging/send_pm_dialog.h"
#include "platform/html_message_view.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QStatusBar>
#include <QTimer>
#include <QTreeWidget>

using namespace velmora;
using velmora::test::child;
using velmora::test::shownText;

namespace {

const QColor kOwn(PMWindow::kOwnColour);
const QColor kReceived(PMWindow::kReceivedColour);

struct Rig : velmora::test::ClientRig {
    using ClientRig::ClientRig;
    PMWindow* pm(const QString& caption) const {
        return qobject_cast<PMWindow*>(client.findWindowByCaption(caption));
    }
};

void type(PMWindow& w, const QString& text) {
    w.txtSendMsg().setPlainText(text);
    QTest::keyClick(&w.txtSendMsg(), Qt::Key_Return);
}

} // namespace

class PMWindowTest : public QObject {
    Q_OBJECT

private slots:
    void sentLinesGoOutInWireFormAndShowInTheOwnColour() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        test::useFont(w->tbFontSettings(), "Arial", "12", "B");
        QCOMPARE(w->style(), QStringLiteral("B"));
        // Typed "%%" is a space, and runs of spaces shrink to one.
        type(*w, QStringLiteral("hello  %%world :)"));
        QCOMPARE(rig.sent(),
                 QByteArray(" ## cmdPM /:/ alicia /:/ bobby /:/ hello%%world%%:) /:/ Arial /:/ 12 "
                            "/:/ B"));
        QVERIFY(shownText(w->brwMessage()).endsWith("alicia: hello world \ufffc "));
        QCOMPARE(test::lastNameColour(w->brwMessage()), kOwn);
        QVERIFY(w->txtSendMsg().toPlainText().isEmpty() && w->txtSendMsg().isEnabled());

        // The style letters always come as B, I, U; line breaks stay.
        test::useFont(w->tbFontSettings(), "Courier New", "10", "UIB");
        w->txtSendMsg().setPlainText(QStringLiteral("line one\nline two"));
        child<QPushButton>(*w, "cmdSend")->click();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdPM /:/ alicia /:/ bobby /:/ line%%one\r\nline%%two "
                                        "/:/ Courier New /:/ 10 /:/ BIU"));

        // Blanks only: a beep each and nothing sent. To oneself, in any
        // case: shown, never sent.
        const QString before = w->brwMessage().source();
        type(*w, QStringLiteral("   "));
        type(*w, QStringLiteral("%%%%"));
        QCOMPARE(rig.prompter.beeps, 2);
        QCOMPARE(w->brwMessage().source(), before);
        PMWindow* self = OpenPMWindow(rig.client, QStringLiteral("ALICIA"));
        type(*self, QStringLiteral("note to self"));
        QVERIFY(shownText(self->brwMessage()).endsWith("alicia: note to self "));
        QCOMPARE(rig.sent(), QByteArray());

        // The File menu adds the partner as a buddy.
        child<QAction>(*w, "mnuFileAddBuddy")->trigger();
        QCOMPARE(rig.sent(), QByteArray(" ## cmdAB /:/ alicia /:/ bobby"));

        // A lost connection stops sending; the window stays.
        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return !w->txtSendMsg().isEnabled(); }));
        QVERIFY(!child<QPushButton>(*w, "cmdSend")->isEnabled());
        QVERIFY(w->isVisible());
    }

    void receivedLinesFindTheirWindowIgnoringCase() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("bobby")));
        PMWindow* open = OpenPMWindow(rig.client, QStringLiteral("alicia"));
        QVERIFY(rig.feed(" ## +PM /$/ ALICIA /$/ hi%%there /$/ Verdana /$/ 8 /$/ U"
                         " ## +PM /$/ carol1 /$/ second /$/ Arial /$/ 12 /$/ "
                         " ## +PM /$/ Carol1 /$/ third /$/ Arial /$/ 12 /$/ ",
                         [&] { return rig.desktop.sounds.size() == 3; }));
        QVERIFY(shownText(open->brwMessage()).endsWith("ALICIA: hi there "));
        QCOMPARE(test::lastNameColour(open->brwMessage()), kReceived);
        QVERIFY(open->sbStatus().currentMessage().startsWith(QStringLiteral("Last IM Received: ")));
        // A sender without a window gets one, and keeps it.
        PMWindow* carol = rig.pm(QStringLiteral("carol1 - Instant Message"));
        QVERIFY(carol);
        QCOMPARE(rig.windows<PMWindow>().size(), 2);
        QVERIFY(shownText(carol->brwMessage()).endsWith("carol1: second \nCarol1: third "));
        // Sound and bring-forward follow the settings' defaults (both on).
        const QString sound = rig.home.path() + QStringLiteral("/Sounds/ReceiveIM.wav");
        QCOMPARE(rig.desktop.sounds, (QStringList{sound, sound, sound}));
        QCOMPARE(rig.desktop.broughtToFront.size(), 3);
        QCOMPARE(rig.desktop.broughtToFront.first(), open);
        QVERIFY(rig.prompter.boxes.isEmpty());

        // The server's own notices cannot be answered, nor take smilies.
        rig.client.dispatcher().dispatchBatch(
            " ## +PM /$/ IM Server /$/ Welcome! /$/ MS Sans Serif /$/ 10 /$/ ");
        PMWindow* notice = rig.pm(QStringLiteral("IM Server - Instant Message"));
        QVERIFY(!notice->txtSendMsg().isEnabled() &&
                !child<QPushButton>(*notice, "cmdSend")->isEnabled());
        emit notice->tbFontSettings().SmilieClick(QStringLiteral(":)"));
        QVERIFY(notice->txtSendMsg().toPlainText().isEmpty());
    }

    void switchedOffSoundAndPopUpStayQuiet() {
        Rig rig("[Settings]\r\nNewPM=0\r\n[Sounds]\r\nReceiveIMEnabled=0\r\n");
        rig.client.dispatcher().dispatchBatch(" ## +PM /$/ bobby /$/ hi /$/ Arial /$/ 10 /$/ B");
        QVERIFY(rig.pm(QStringLiteral("BOBBY - instant message")));
        QVERIFY(rig.desktop.sounds.isEmpty() && rig.desktop.broughtToFront.isEmpty());
        // A size that is no number is reported once the name is written.
        rig.client.dispatcher().dispatchBatch(" ## +PM /$/ bobby /$/ hi /$/ Arial /$/ big /$/ ");
        QCOMPARE(rig.prompter.boxes.size(), 1);
        QCOMPARE(rig.prompter.boxes[0].style, 48);
        QVERIFY(rig.prompter.boxes[0].text.startsWith(QStringLiteral("Error #13 ")));
    }

    void theViewToolbarAndPositionStartFromTheSettings() {
        Rig fresh; // a style missing from the file is switched on
        PMWindow* w = OpenPMWindow(fresh.client, QStringLiteral("bobby"));
        QVERIFY(
            test::shownText(w->brwMessage())
                .startsWith("Remember: You should never give out personal information online!"));
        QCOMPARE(w->tbFontSettings().FontName() + w->tbFontSettings().FontSize() + w->style(),
                 QStringLiteral("MS Sans Serif10BIU"));

        Rig saved("[Font]\r\nName=Verdana\r\nSize=14\r\nBold=False\r\nItalic=True\r\n"
                  "Underlined=False\r\n[FormPos]\r\nfrmPM-Left=40\r\nfrmPM-Top=50\r\n"
                  "frmPM-Height=333\r\nfrmPM-Width=444\r\n");
        PMWindow* v = OpenPMWindow(saved.client, QStringLiteral("bobby"));
        QCOMPARE(v->style(), QStringLiteral("I"));
        const QFont input = v->txtSendMsg().font();
        QVERIFY(input.family() == "Verdana" && input.pointSizeF() == 14.0 && input.italic());
        // The Edit menu's toggle drives the toolbar like its own button.
        child<QAction>(*v, "mnuEditBold")->trigger();
        QCOMPARE(v->style(), QStringLiteral("BI"));

        // One position and size for every message window, saved on close.
        QCOMPARE(QRect(v->pos(), v->size()), QRect(40, 50, 444, 333));
        v->resize(520, 410);
        v->move(60, 70);
        v->close();
        QVERIFY(saved.home.readFile(QStringLiteral("Velmora.ini"))
                    .contains("frmPM-Left=60\r\nfrmPM-Top=70\r\nfrmPM-Height=410\r\n"
                              "frmPM-Width=520"));
        // A position that is no number is reported, and the window still opens.
        Rig bad("[FormPos]\r\nfrmPM-Left=far\r\n");
        QVERIFY(OpenPMWindow(bad.client, QStringLiteral("bobby")));
        QCOMPARE(bad.prompter.texts().size(), 1);
        QVERIFY(bad.prompter.texts()[0].startsWith(QStringLiteral("Error #13 ")));
    }

    void oneWindowPerUserAndSmiliesGoToTheCaret() {
        Rig rig;
        emit rig.client.mainWindow().buddyActivated(QStringLiteral("bobby"));
        emit rig.client.mainWindow().buddyActivated(QStringLiteral("BOBBY"));
        PMWindow* w = rig.pm(QStringLiteral("bobby - Instant Message"));
        QCOMPARE(rig.windows<PMWindow>(), QList<PMWindow*>{w});
        QCOMPARE(rig.desktop.broughtToFront, (QList<QPointer<QWidget>>{w}));
        w->txtSendMsg().setPlainText(QStringLiteral("ab"));
        QTextCursor caret = w->txtSendMsg().textCursor();
        caret.setPosition(1);
        w->txtSendMsg().setTextCursor(caret);
        emit w->tbFontSettings().SmilieClick(QStringLiteral(":-\\"));
        QCOMPARE(w->txtSendMsg().toPlainText(), QStringLiteral("a:-\\b"));
    }

    void theLogIsSavedAsTheWindowReadsAndFindWraps() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        rig.client.dispatcher().dispatchBatch(
            " ## +PM /$/ bobby /$/ hi%%:)%%see%%www.x.org\r\n<b>&%%\"q\" /$/ Arial /$/ 10 /$/ B");
        type(*w, QStringLiteral("Grüße, 你好 ;) www"));

        test::ScriptedChooser chooser;
        w->setFileChooser(&chooser);
        w->saveLog(); // cancelled: nothing written
        chooser.answers = {rig.home.filePath(QStringLiteral("chat.txt")),
                           rig.home.filePath(QStringLiteral("missing/folder/chat.txt"))};
        child<QAction>(*w, "mnuFileSaveLog")->trigger();
        QCOMPARE(chooser.requests.last().title, QStringLiteral("Save IM Log As..."));
        QCOMPARE(chooser.requests.last().filter, (QStringList{"Text Document (*.txt)", "*.txt"}));
        QCOMPARE(
            QString::fromUtf8(rig.home.readFile(QStringLiteral("chat.txt"))),
            QStringLiteral("bobby: hi :) see www.x.org\n<b>& \"q\"\nalicia: Grüße, 你好 ;) www\n"));
        // A file that cannot be written is reported.
        child<QAction>(*w, "mnuFileSaveLog")->trigger();
        QVERIFY(rig.prompter.texts().value(0).startsWith(QStringLiteral("Error #75 ")));

        // Find selects the next match, ignoring case, and starts over once.
        QVERIFY(w->findInConversation(QStringLiteral("WWW")));
        const int first = w->brwMessage().textCursor().position();
        QVERIFY(w->findInConversation(QStringLiteral("www")));
        QVERIFY(w->brwMessage().textCursor().position() > first);
        QVERIFY(w->findInConversation(QStringLiteral("www")));
        QCOMPARE(w->brwMessage().textCursor().position(), first);
        QVERIFY(!w->findInConversation(QStringLiteral("banana")));
    }

    void theChooserOpensOneWindowForAListedOrTypedName() {
        Rig rig;
        rig.client.mainWindow().buddies().onBuddyList(
            QStringLiteral("n %/ bobby :%: f %/ carol1 :%: n %/ dave_2"));
        SendPMDialog dialog(rig.client);
        // Only the online group, with its buddies.
        QCOMPARE(dialog.tvUsers().topLevelItemCount(), 1);
        QTreeWidgetItem* group = dialog.tvUsers().topLevelItem(0);
        QCOMPARE(group->childCount(), 2);
        dialog.tvUsers().setCurrentItem(group);
        QVERIFY(!dialog.cmdOpen().isEnabled());
        dialog.tvUsers().setCurrentItem(group->child(1));
        dialog.cmdOpen().click();
        QVERIFY(rig.pm(QStringLiteral("dave_2 - Instant Message")));

        // A typed name must pass the name rule.
        SendPMDialog typed(rig.client);
        typed.optUser(1).click();
        QVERIFY(typed.txtUserName().isEnabled());
        for (const char* bad : {"bob", "bob by", "bo.by", "ünter"}) {
            typed.txtUserName().setText(QString::fromUtf8(bad));
            QVERIFY2(!typed.cmdOpen().isEnabled(), bad);
        }
        typed.txtUserName().setText(QStringLiteral("DAVE_2"));
        typed.optUser(0).click(); // the list, where nothing is selected
        QVERIFY(!typed.cmdOpen().isEnabled());
        typed.optUser(1).click();
        typed.cmdOpen().click();
        QCOMPARE(rig.client.windows().size(), 1);
        QCOMPARE(rig.desktop.broughtToFront.size(), 1);

        // The menu shows it modal.
        bool seen = false;
        QTimer::singleShot(0, [&] {
            auto* shown = qobject_cast<SendPMDialog*>(QApplication::activeModalWidget());
            seen = shown != nullptr;
            if (shown) {
                shown->cmdCancel().click();
            }
        });
        rig.action("mnuToolsSendAPM")->setEnabled(true);
        rig.action("mnuToolsSendAPM")->trigger();
        QVERIFY(seen);
    }
};

QTEST_MAIN(PMWindowTest)
#include "pm_window_test.moc"
