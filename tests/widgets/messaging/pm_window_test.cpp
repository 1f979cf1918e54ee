// The message window against a loopback server: what is sent, what is
// written into the conversation, and what the window does around it.
#include "app/client.h"
#include "controls/file_chooser.h"
#include "controls/font_toolbar.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "session/connection.h"
#include "session/dispatcher.h"
#include "shell/main_window.h"
#include "support/client_rig.h"

#include <QAction>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>

using namespace velmora;

namespace {

const QString kHeader = QStringLiteral(
    "<html>\r\n<body Style=\"Margin: 0px;\" SCROLL=\"Auto\" BGCOLOR=\"#FFFFFF\" "
    "OnContextMenu=\"javascript: return true;\">\r\n<font name=\"MS Sans Serif\" size=\"3\" "
    "color=\"#FF0000\">Remember: You should never give out personal information "
    "online!</font>\r\n<hr color=\"#FF0000\" size=\"1\">\r\n<br>\r\n");

// A chooser that answers the save dialog with a fixed path.
class ScriptedChooser : public FileChooser {
public:
    std::optional<QString> answer;
    QList<FileRequest> requests;
    std::optional<QString> chooseFile(const FileRequest& request) override {
        requests << request;
        return answer;
    }
    std::optional<QString> chooseFolder(const QString&, QWidget*) override { return answer; }
};

} // namespace

class PMWindowTest : public QObject {
    Q_OBJECT

    struct Rig : velmora::test::ClientRig {
        using ClientRig::ClientRig;
        PMWindow* window(const QString& caption) const {
            return qobject_cast<PMWindow*>(client.findWindowByCaption(caption));
        }
        int pmWindows() const { return int(windows<PMWindow>().size()); }
    };

    static void setFont(PMWindow& w, const char* name, const char* size, bool bold, bool italic,
                        bool underlined) {
        FontToolbar& tb = w.tbFontSettings();
        tb.setFontName(QLatin1StringView(name));
        tb.setFontSize(QLatin1StringView(size));
        tb.setBold(bold);
        tb.setItalic(italic);
        tb.setUnderlined(underlined);
    }

    static void type(PMWindow& w, const QString& text) {
        w.txtSendMsg().setPlainText(text);
        QTest::keyClick(&w.txtSendMsg(), Qt::Key_Return);
    }

private slots:
    void enterSendsTheCommandAndShowsTheOwnLine() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        setFont(*w, "Arial", "12", true, false, false);
        QCOMPARE(w->style(), QStringLiteral("B"));

        // Typed "%%" is a space, and runs of spaces shrink to one.
        type(*w, QStringLiteral("hello  %%world :)"));
        const QByteArray sent =
            " ## cmdPM /:/ alicia /:/ bobby /:/ hello%%world%%:) /:/ Arial /:/ 12 /:/ B";
        QVERIFY(rig.server.waitForReceived(sent));
        QCOMPARE(rig.server.received(), sent);
        QCOMPARE(
            w->messageView().source(),
            kHeader +
                "<b><font color=\"#0000C0\" face=\"MS Sans Serif\" size=\"3\">alicia:</font>"
                "</b>&nbsp; <B><font color=\"#0000C0\" face=\"Arial\" size=\"4\">hello world " +
                rig.smilie("smilie.gif") + "</font></B>\r\n<br>\r\n");
        QVERIFY(w->txtSendMsg().toPlainText().isEmpty());
        QVERIFY(w->txtSendMsg().isEnabled());
        QVERIFY(w->findChild<QPushButton*>(QStringLiteral("cmdSend"))->isEnabled());

        // A second line in another style; the style letters always come as B, I, U.
        rig.server.clearReceived();
        setFont(*w, "Courier New", "10", true, true, true);
        w->txtSendMsg().setPlainText(QStringLiteral("line one\nline two"));
        w->findChild<QPushButton*>(QStringLiteral("cmdSend"))->click();
        const QByteArray second = " ## cmdPM /:/ alicia /:/ bobby /:/ line%%one\r\nline%%two /:/ "
                                  "Courier New /:/ 10 /:/ BIU";
        QVERIFY(rig.server.waitForReceived(second));
        QCOMPARE(rig.server.received(), second);
        QVERIFY(w->messageView().source().endsWith(
            "<B><I><U><font color=\"#0000C0\" face=\"Courier New\" size=\"3.33333333333333\">"
            "line one <br> line two </font></B></I></U>\r\n<br>\r\n"));
    }

    void emptyAndSelfAddressedMessagesAreNotSent() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        const QString before = w->messageView().source();
        type(*w, QStringLiteral("   "));
        type(*w, QStringLiteral("%%%%"));
        QCOMPARE(rig.prompter.beeps(), 2);
        QCOMPARE(w->messageView().source(), before);
        QVERIFY(w->txtSendMsg().isEnabled());

        // To oneself (in any case): shown, never sent.
        PMWindow* self = OpenPMWindow(rig.client, QStringLiteral("ALICIA"));
        setFont(*self, "Arial", "10", false, false, false);
        type(*self, QStringLiteral("note to self"));
        QVERIFY(self->messageView().source().endsWith(
            "alicia:</font></b>&nbsp; <font color=\"#0000C0\" face=\"Arial\" "
            "size=\"3.33333333333333\">note to self </font>\r\n<br>\r\n"));
        // The next real message is the first thing the server sees.
        setFont(*w, "Arial", "10", false, false, false);
        type(*w, QStringLiteral("x"));
        QVERIFY(rig.server.waitForReceived("x /:/ Arial"));
        QCOMPARE(rig.server.received(),
                 QByteArray(" ## cmdPM /:/ alicia /:/ bobby /:/ x /:/ Arial /:/ 10 /:/ "));
    }

    void receivedMessagesFindTheirWindowIgnoringCase() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("bobby")));
        PMWindow* open = OpenPMWindow(rig.client, QStringLiteral("alicia"));
        const QString header = open->messageView().source();
        rig.server.send(" ## +PM /$/ ALICIA /$/ hi%%www.velmora.org%%;) /$/ Verdana /$/ 8 /$/ U"
                        " ## +PM /$/ carol1 /$/ second /$/ Arial /$/ 12 /$/ ");
        QVERIFY(QTest::qWaitFor([&] { return rig.pmWindows() == 2; }, 5000));
        QVERIFY(QTest::qWaitFor([&] { return rig.desktop.sounds().size() == 2; }, 5000));

        // The open "alicia" window took the line, in the sender's case and
        // black (the end-to-end test checks the whole line).
        QVERIFY(open->messageView().source().startsWith(
            header + "<b><font color=\"#000000\" face=\"MS Sans Serif\" size=\"3\">ALICIA:"));
        QVERIFY(open->messageView().source().contains(rig.smilie("wink.gif")));
        QVERIFY(open->sbStatus().currentMessage().startsWith(QStringLiteral("Last IM Received: ")));

        // A sender without a window gets a new one.
        PMWindow* carol = rig.window(QStringLiteral("carol1 - Instant Message"));
        QVERIFY(carol);
        QVERIFY(carol->messageView().source().endsWith(
            "carol1:</font></b>&nbsp; <font color=\"#000000\" face=\"Arial\" size=\"4\">second "
            "</font>\r\n<br>\r\n"));
        // A second message from carol1 goes to the same window.
        rig.server.send(" ## +PM /$/ Carol1 /$/ third /$/ Arial /$/ 12 /$/ ");
        QVERIFY(QTest::qWaitFor([&] { return rig.desktop.sounds().size() == 3; }, 5000));
        QCOMPARE(rig.pmWindows(), 2);
        QVERIFY(carol->messageView().source().endsWith("third </font>\r\n<br>\r\n"));

        // Sound and bring-forward follow the settings' defaults (both on).
        const QString sound = rig.home.path() + QStringLiteral("/Sounds/ReceiveIM.wav");
        QCOMPARE(rig.desktop.sounds(), (QStringList{sound, sound, sound}));
        QCOMPARE(rig.desktop.broughtToFront().size(), 3);
        QCOMPARE(rig.desktop.broughtToFront().first(), open);
        QVERIFY(rig.prompter.boxes().isEmpty());
    }

    void switchedOffSoundAndPopUpStayQuiet() {
        Rig rig("[Settings]\r\nNewPM=0\r\n[Sounds]\r\nReceiveIMEnabled=0\r\n");
        rig.client.dispatcher().dispatchBatch(" ## +PM /$/ bobby /$/ hi /$/ Arial /$/ 10 /$/ B");
        QVERIFY(rig.window(QStringLiteral("BOBBY - instant message")));
        QVERIFY(rig.desktop.sounds().isEmpty());
        QVERIFY(rig.desktop.broughtToFront().isEmpty());
        // A size that is no number is reported once the name is written.
        rig.client.dispatcher().dispatchBatch(" ## +PM /$/ bobby /$/ hi /$/ Arial /$/ big /$/ ");
        QCOMPARE(rig.prompter.boxes().size(), 1);
        QCOMPARE(rig.prompter.boxes().first().style, 48);
        QVERIFY(rig.prompter.boxes().first().text.startsWith(QStringLiteral("Error #13 ")));
    }

    void serverNoticesCannotBeAnswered() {
        Rig rig;
        rig.client.dispatcher().dispatchBatch(
            " ## +PM /$/ IM Server /$/ Welcome! /$/ MS Sans Serif /$/ 10 /$/ ");
        PMWindow* w = rig.window(QStringLiteral("IM Server - Instant Message"));
        QVERIFY(w);
        QVERIFY(!w->txtSendMsg().isEnabled());
        QVERIFY(!w->findChild<QPushButton*>(QStringLiteral("cmdSend"))->isEnabled());
        // Nor can a smilie be put into its input box.
        emit w->tbFontSettings().SmilieClick(QStringLiteral(":)"));
        QVERIFY(w->txtSendMsg().toPlainText().isEmpty());
    }

    void theViewAndToolbarStartFromTheSettings() {
        // A style missing from the file is switched on.
        Rig fresh;
        PMWindow* w = OpenPMWindow(fresh.client, QStringLiteral("bobby"));
        QCOMPARE(w->messageView().source(), kHeader);
        QCOMPARE(w->tbFontSettings().FontName(), QStringLiteral("MS Sans Serif"));
        QCOMPARE(w->tbFontSettings().FontSize(), QStringLiteral("10"));
        QCOMPARE(w->style(), QStringLiteral("BIU"));
        QVERIFY(w->findChild<QAction*>(QStringLiteral("mnuEditBold"))->isChecked());

        Rig saved("[Font]\r\nName=Verdana\r\nSize=14\r\nBold=False\r\nItalic=True\r\n"
                  "Underlined=False\r\n");
        PMWindow* v = OpenPMWindow(saved.client, QStringLiteral("bobby"));
        QCOMPARE(v->tbFontSettings().FontName(), QStringLiteral("Verdana"));
        QCOMPARE(v->style(), QStringLiteral("I"));
        QCOMPARE(v->txtSendMsg().font().family(), QStringLiteral("Verdana"));
        QCOMPARE(v->txtSendMsg().font().pointSizeF(), 14.0);
        QVERIFY(v->txtSendMsg().font().italic());
        QVERIFY(!v->txtSendMsg().font().bold());
        // The Edit menu's toggle drives the toolbar like its own button.
        v->findChild<QAction*>(QStringLiteral("mnuEditBold"))->trigger();
        QVERIFY(v->tbFontSettings().Bold());
        QCOMPARE(v->style(), QStringLiteral("BI"));
    }

    void positionIsSharedThroughTheSettingsFile() {
        Rig rig("[FormPos]\r\nfrmPM-Left=40\r\nfrmPM-Top=50\r\nfrmPM-Height=333\r\n"
                "frmPM-Width=444\r\n");
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        QCOMPARE(w->size(), QSize(444, 333));
        QCOMPARE(w->pos(), QPoint(40, 50));
        w->resize(520, 410);
        w->move(60, 70);
        w->close();
        const QByteArray ini = rig.home.readFile(QStringLiteral("Velmora.ini"));
        QVERIFY2(ini.contains("frmPM-Left=60\r\nfrmPM-Top=70\r\nfrmPM-Height=410\r\n"
                              "frmPM-Width=520"),
                 ini.constData());
        // A position that is no number is reported, and the window still opens.
        Rig bad("[FormPos]\r\nfrmPM-Left=far\r\n");
        QVERIFY(OpenPMWindow(bad.client, QStringLiteral("bobby")));
        QCOMPARE(bad.prompter.boxes().size(), 1);
        QVERIFY(bad.prompter.boxes().first().text.startsWith(QStringLiteral("Error #13 ")));
    }

    void aLostConnectionStopsSending() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        rig.server.closePeer();
        QVERIFY(QTest::qWaitFor([&] { return !w->txtSendMsg().isEnabled(); }, 5000));
        QVERIFY(!w->findChild<QPushButton*>(QStringLiteral("cmdSend"))->isEnabled());
        QVERIFY(rig.window(QStringLiteral("bobby - Instant Message")));
    }

    void oneWindowPerUserAndSmiliesGoToTheCaret() {
        Rig rig;
        emit rig.client.mainWindow().buddyActivated(QStringLiteral("bobby"));
        PMWindow* w = rig.window(QStringLiteral("bobby - Instant Message"));
        QVERIFY(w);
        QCOMPARE(w->objectName(), QStringLiteral("frmPM"));
        QVERIFY(rig.desktop.broughtToFront().isEmpty());
        emit rig.client.mainWindow().buddyActivated(QStringLiteral("BOBBY"));
        QCOMPARE(rig.pmWindows(), 1);
        QCOMPARE(rig.desktop.broughtToFront(), (QList<QPointer<QWidget>>{w}));

        w->txtSendMsg().setPlainText(QStringLiteral("ab"));
        QTextCursor caret = w->txtSendMsg().textCursor();
        caret.setPosition(1);
        w->txtSendMsg().setTextCursor(caret);
        emit w->tbFontSettings().SmilieClick(QStringLiteral(":-\\"));
        QCOMPARE(w->txtSendMsg().toPlainText(), QStringLiteral("a:-\\b"));
        QTest::keyClick(&w->txtSendMsg(), Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(w->txtSendMsg().textCursor().selectedText(), QStringLiteral("a:-\\b"));
    }

    void theFileMenuAddsTheRecipientAsABuddy() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        w->findChild<QAction*>(QStringLiteral("mnuFileAddBuddy"))->trigger();
        QVERIFY(rig.server.waitForReceived(" ## cmdAB /:/ alicia /:/ bobby"));
        QCOMPARE(rig.server.received(), QByteArray(" ## cmdAB /:/ alicia /:/ bobby"));
    }

    void theLogIsSavedAsTheWindowReads() {
        Rig rig;
        QVERIFY(rig.logIn(QStringLiteral("alicia")));
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        rig.client.dispatcher().dispatchBatch(
            " ## +PM /$/ bobby /$/ hi%%:)%%see%%www.x.org\r\n<b>&%%\"q\" /$/ Arial /$/ 10 /$/ B");
        setFont(*w, "Arial", "10", false, false, false);
        type(*w, QStringLiteral("Grüße, 你好 ;)"));

        ScriptedChooser chooser;
        w->setFileChooser(&chooser);
        w->saveLog(); // cancelled: nothing written
        const QString path = rig.home.filePath(QStringLiteral("chat.txt"));
        chooser.answer = path;
        w->findChild<QAction*>(QStringLiteral("mnuFileSaveLog"))->trigger();

        QCOMPARE(chooser.requests.size(), 2);
        const FileRequest& asked = chooser.requests.last();
        QCOMPARE(asked.kind, FileRequest::Kind::Save);
        QCOMPARE(asked.title, QStringLiteral("Save IM Log As..."));
        QCOMPARE(asked.filter, (QStringList{"Text Document (*.txt)", "*.txt"}));
        QCOMPARE(asked.defaultExt, QStringLiteral("txt"));
        QVERIFY(asked.flags & ofn::kOverwritePrompt);
        QCOMPARE(
            QString::fromUtf8(rig.home.readFile(QStringLiteral("chat.txt"))),
            QStringLiteral("bobby: hi :) see www.x.org\n<b>& \"q\"\nalicia: Grüße, 你好 ;)\n"));

        // A file that cannot be written is reported.
        chooser.answer = rig.home.filePath(QStringLiteral("missing/folder/chat.txt"));
        w->findChild<QAction*>(QStringLiteral("mnuFileSaveLog"))->trigger();
        QCOMPARE(rig.prompter.boxes().size(), 1);
        QVERIFY(rig.prompter.boxes().first().text.startsWith(QStringLiteral("Error #75 ")));
    }

    void findSelectsTheNextMatchAndWrapsAround() {
        Rig rig;
        PMWindow* w = OpenPMWindow(rig.client, QStringLiteral("bobby"));
        rig.client.dispatcher().dispatchBatch(
            " ## +PM /$/ bobby /$/ apple%%pie /$/ Arial /$/ 10 "
            "/$/  ## +PM /$/ bobby /$/ apple /$/ Arial /$/ 10 /$/ ");
        QVERIFY(w->findInConversation(QStringLiteral("APPLE")));
        const int first = w->brwMessage().textCursor().position();
        QVERIFY(w->findInConversation(QStringLiteral("apple")));
        QVERIFY(w->brwMessage().textCursor().position() > first);
        QVERIFY(w->findInConversation(QStringLiteral("apple")));
        QCOMPARE(w->brwMessage().textCursor().position(), first);
        QVERIFY(!w->findInConversation(QStringLiteral("banana")));
    }
};

QTEST_MAIN(PMWindowTest)
#include "pm_window_test.moc"
