// The platform layer and what is built on it: the settings-file reader
// and writer with the classic profile functions' quirks (names without case,
// empty is not missing, one pair of quotes, 127 characters, a write that
// keeps every other byte); the settings and the server list over it
// (defaults, the exact forms written, text where a number belongs); message
// boxes built from the classic style word, and the help window. Then the
// chat-line HTML, fragment by fragment: the one place where the formatter's
// output is spelled out (windows and end-to-end tests only check where lines
// go and what the user reads); and the conversation view it writes into,
// which renders a line once its end has arrived, hands links to the desktop
// and follows the newest line.
#include "messaging/message_formatter.h"
#include "platform/app_error.h"
#include "platform/html_message_view.h"
#include "platform/ini_file.h"
#include "platform/message_view.h"
#include "platform/qt_desktop.h"
#include "platform/qt_prompter.h"
#include "settings/server_list.h"
#include "settings/settings.h"

#include "support/doubles.h"

#include <QApplication>
#include <QDir>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextImageFormat>
#include <QTimer>

#include <functional>

using namespace velmora;
using velmora::IniFile::read;
using velmora::IniFile::write;
using velmora::test::TempHome;

namespace {

struct Seen {
    QString text;
    QString title;
    int icon = 0;
    int buttons = 0;
    int defaultButton = 0;
    Qt::WindowModality modality = Qt::NonModal;
};

// Shows a real box; once it is on screen, records it and presses `press`
// (Escape when `press` is NoButton). Returns the answer.
int showAndPress(int style, int press, Seen& seen, const QString& text) {
    std::function<void()> answerBox = [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box) {
            QTimer::singleShot(10, answerBox);
            return;
        }
        seen = Seen{box->text(),
                    box->windowTitle(),
                    int(box->icon()),
                    int(box->standardButtons()),
                    int(box->standardButton(box->defaultButton())),
                    box->windowModality()};
        if (press == QMessageBox::NoButton) {
            QTest::keyClick(box, Qt::Key_Escape);
        } else {
            box->button(QMessageBox::StandardButton(press))->click();
        }
    };
    QTimer::singleShot(0, answerBox);
    return QtPrompter().show(text, style, "Velmora", nullptr);
}

// Keeps every write apart so that the fragment boundaries can be checked.
class RecordingView : public MessageView {
public:
    void write(const QString& fragment) override { writes << fragment; }
    void clear() override { writes.clear(); }
    void scrollToEnd() override { ++scrolls; }
    QString source() const override { return writes.join(QString()); }

    QStringList writes;
    int scrolls = 0;
};

QString img(const char* file) {
    return QStringLiteral("<img src='C:/Chat/Smilies/%1' alt='' border='0'>").arg(file);
}

const FormatterOptions kSmilies{true, QStringLiteral("C:\\Chat")};
const FormatterOptions kPlain{false, QStringLiteral("C:\\Chat")};

// The body pieces of a message, without the four header writes and the two
// closing ones.
QStringList body(const QString& text, const FormatterOptions& opts = kSmilies) {
    RecordingView view;
    QString t = text;
    AppendMessageHtml(t, "#000000", "bob", "Arial", "12", view, "", opts);
    return view.writes.mid(4, view.writes.size() - 6);
}

// A line of `sender` in the view, as a window writes it.
void writeLine(HtmlMessageView& view, const QString& sender, const QString& body) {
    QString text = body;
    AppendMessageHtml(text, "#0000C0", sender, "Arial", "10", view, "B", kPlain);
}

QString anchor(const QString& href, const QString& text) {
    return "<a href=\"" + href + "\" target=\"_blank\">" + text + "</a> ";
}

} // namespace

class PlatformTest : public QObject {
    Q_OBJECT

private slots:
    void valuesAreReadAsTheProfileFunctionsDo() {
        test::TempHome home;
        home.writeFile("Velmora.ini", "; Velmora settings\r\n[Settings]\r\nNewPM=0\r\n"
                                      "  MinTray  =  1  \r\nEmpty=\r\nNoEquals\r\n"
                                      "Quoted=\"  spaced  \"\r\nSingle='x'\r\nMixed=\"x'\r\n"
                                      "Dup=first\r\ndup=second\r\nLong=" +
                                          QByteArray(130, 'a') +
                                          "\r\nUtf=h\xC3\xA9llo\r\n[Other]\r\nEmote=0\r\n");
        const QString path = home.filePath("Velmora.ini");
        const struct {
            const char* section;
            const char* key;
            QString fallback;
            QString value;
        } cases[] = {
            {"settings", "NEWPM", "1", "0"}, // names ignore case and blanks
            {" Settings ", "MinTray", "0", "1"},
            {"Settings", "Empty", "x", ""}, // present but empty is not missing
            {"Settings", "Missing", "x", "x"},
            {"Settings", "NoEquals", "x", "x"},
            {"Settings", "Emote", "1", "1"}, // another section's key
            {"Other", "Emote", "1", "0"},
            {"Settings", "Quoted", "", "  spaced  "}, // one pair of matching quotes goes
            {"Settings", "Single", "", "x"},
            {"Settings", "Mixed", "", "\"x'"},
            {"Settings", "Dup", "", "first"},
            {"Settings", "Long", "", QString(127, 'a')}, // the 128-character buffer
            {"Settings", "Missing", QString(200, 'b'), QString(127, 'b')},
            {"Settings", "Missing", "abc   ", "abc"},
            {"Settings", "Utf", "", QString::fromUtf8("h\xC3\xA9llo")},
        };
        for (const auto& c : cases) {
            QCOMPARE(read(c.section, c.key, c.fallback, path), c.value);
        }
    }

    void aWriteKeepsEveryOtherByte() {
        test::TempHome home;
        home.writeFile("Velmora.ini", "\xEF\xBB\xBF; comment\r\n\r\n[Login Options]\r\n"
                                      "L-User = alice   \r\nL-Pass=secret\r\n\r\n[Font]\r\n"
                                      "NoEquals\r\nBold=True");
        const QString path = home.filePath("Velmora.ini");
        QVERIFY(write("login options", "l-user", "bob", path));
        QVERIFY(write("Login Options", "L-Host", "127.0.0.1", path));
        QVERIFY(write("Font", "NoEquals", "v", path));
        QVERIFY(write("Font", "Size", "12", path));
        // A value stays on one line.
        QVERIFY(write("Sounds", "Enter", "x.wav\n[Settings]\nNewPM=0", path));
        QCOMPARE(home.readFile("Velmora.ini"),
                 QByteArray("\xEF\xBB\xBF; comment\r\n\r\n[Login Options]\r\nL-User = bob   \r\n"
                            "L-Pass=secret\r\nL-Host=127.0.0.1\r\n\r\n[Font]\r\nNoEquals=v\r\n"
                            "Bold=True\r\nSize=12\r\n[Sounds]\r\nEnter=x.wav\r\n"));
        const QString unicode = QString::fromUtf8("\xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x98\x80");
        QVERIFY(write("Font", "Name", unicode, path));
        QCOMPARE(read("Font", "Name", "", path), unicode);

        // A folder where the file should be cannot be read or replaced, nor
        // can a file in a missing folder be created.
        QDir(home.path()).mkdir("folder.ini");
        QCOMPARE(read("Settings", "NewPM", "1", home.filePath("folder.ini")), QString("1"));
        QVERIFY(!write("Settings", "NewPM", "0", home.filePath("folder.ini")));
        QVERIFY(!write("Settings", "NewPM", "0", home.filePath("missing/Velmora.ini")));
    }

    void settersWriteDocumentedForms() {
        TempHome home;
        Settings settings(home.path());
        // Reading the defaults never creates the file.
        QCOMPARE(settings.formPos("alice", "Left", 1200), 1200);
        QVERIFY(!home.exists("Velmora.ini"));
        settings.setNewPM(false);
        settings.setMinTray(true);
        settings.setEmote(false);
        settings.setSoundPath(sound::kReceiveIM, "/sounds/ding.wav");
        settings.setSoundEnabled(sound::kUserLogout, false);
        settings.setLoginUser("");
        settings.setLoginPass("");
        settings.setLoginHost(velmora::kDefaultServerHost);
        settings.setLoginAutoConnect(true);
        settings.setLoginCheck(false);
        settings.setFontName("Arial");
        settings.setFontSize("12");
        settings.setFontBold(true);
        settings.setFontItalic(false);
        settings.setFontUnderlined(true);
        settings.setFormPos("alice", "Left", 1200);
        settings.setFormPos("alice", "Top", -45);

        QCOMPARE(
            home.readFile("Velmora.ini"),
            QByteArray("[Settings]\nNewPM=0\nMinTray=1\nEmote=0\n"
                       "[Sounds]\nReceiveIM=/sounds/ding.wav\nUserLogoutEnabled=0\n"
                       "[Login Options]\nL-User=\nL-Pass=\nL-Host=127.0.0.1\nL-Auto-Connect=1\n"
                       "L-Check=0\n"
                       "[Font]\nName=Arial\nSize=12\nBold=True\nItalic=False\nUnderlined=True\n"
                       "[FormPos]\nalice-Left=1200\nalice-Top=-45\n"));
        // Read back: each sound's switch in its own place, a negative position.
        MainWindowValues values;
        settings.loadMainWindowValues(values);
        QVERIFY(values.userLogout.enabled == 0 && values.receiveIM.enabled == 1);
        QCOMPARE(settings.formPos("ALICE", "top", 0), -45);
    }

    void textWhereNumberExpectedIsAnError() {
        TempHome home;
        Settings settings(home.path());
        MainWindowValues values;
        const auto load = [&] { settings.loadMainWindowValues(values); };

        for (const auto& [ini, error] : {std::pair{"[Settings]\nFont-Size=big\n", 13},
                                         {"[Settings]\nNewPM=yes\n", 13},
                                         {"[Sounds]\nEnterEnabled=\n", 13},
                                         {"[Settings]\nEmote=70000\n", 6}}) {
            home.writeFile("Velmora.ini", ini);
            QCOMPARE(test::errorNumber(load), error);
        }
        // A bad value ends the load there, keeping what was read before it.
        home.writeFile("Velmora.ini", "[Settings]\nMinTray=1\n[Sounds]\nExitEnabled=x\n");
        values = {};
        try {
            load();
            QFAIL("no error");
        } catch (const velmora::AppError& error) {
            QCOMPARE(error.description, QString("Type mismatch ([Sounds] ExitEnabled)"));
        }
        QVERIFY(values.newPM == 1 && values.minTray == 1 && values.emote == 1);
        QVERIFY(values.enter.enabled == 1 && values.exit.path.endsWith("/Sounds/Exit.wav"));
        QVERIFY(values.exit.enabled == 0 && values.receiveIM.path.isEmpty());
        home.writeFile("Velmora.ini", "[Settings]\nFont-Size= 24 \nNewPM=2\n");
        load();
        QCOMPARE(values.fontSize, 24.0);
        QCOMPARE(settings.newPM(), 2);
        home.writeFile("Velmora.ini",
                       "[FormPos]\nalice-Left=1e3\nalice-Top=left\n[Font]\nBold=maybe\n");
        QCOMPARE(settings.formPos("alice", "Left", 0), 1000);
        QCOMPARE(test::errorNumber([&] { (void)settings.formPos("alice", "Top", 0); }),
                 velmora::err::kTypeMismatch);
        QCOMPARE(test::errorNumber([&] { (void)settings.fontBold(); }),
                 velmora::err::kTypeMismatch);
    }

    void serverListKeepsOldKeysWhenItShrinks() {
        TempHome home;
        const QString path = home.filePath("IMServers.ini");
        QCOMPARE(velmora::server_list::load(path), QStringList());
        velmora::server_list::save(path, {"a.example", "b.example", "c.example"});
        velmora::server_list::save(path, {"x.example:7000", "b.example"});
        QCOMPARE(home.readFile("IMServers.ini"),
                 QByteArray("[Servers]\nServer1=x.example:7000\nServer2=b.example\n"
                            "Server3=c.example\nCount=2\n"));
        QCOMPARE(velmora::server_list::load(path), QStringList({"x.example:7000", "b.example"}));

        // Addresses missing below the count load empty; a bad count loads nothing
        // or is an error.
        home.writeFile("IMServers.ini", "[Servers]\nCount=2\nServer2=b.example\n");
        QCOMPARE(velmora::server_list::load(path), QStringList({"", "b.example"}));
        home.writeFile("IMServers.ini", "[Servers]\nCount=-1\nServer1=a.example\n");
        QCOMPARE(velmora::server_list::load(path), QStringList());
        home.writeFile("IMServers.ini", "[Servers]\nCount=three\n");
        QCOMPARE(test::errorNumber([&] { (void)velmora::server_list::load(path); }),
                 velmora::err::kTypeMismatch);
    }

    void theStyleGivesIconButtonsAndAnswer() {
        const int ok = QMessageBox::Ok;
        const int yesNo = QMessageBox::Yes | QMessageBox::No;
        const struct {
            int style, icon, buttons, press, result;
        } cases[] = {
            {0, QMessageBox::NoIcon, ok, ok, answer::kOk},
            {36, QMessageBox::Question, yesNo, QMessageBox::No, answer::kNo},
            {48, QMessageBox::Warning, ok, ok, answer::kOk},
            {4160, QMessageBox::Information, ok, ok, answer::kOk},
            {3, QMessageBox::NoIcon, yesNo | QMessageBox::Cancel, QMessageBox::NoButton,
             answer::kCancel},
        };
        for (const auto& c : cases) {
            Seen seen;
            QCOMPARE(showAndPress(c.style, c.press, seen, "Sure?"), c.result);
            QCOMPARE(seen.icon, c.icon);
            QCOMPARE(seen.buttons, c.buttons);
            QCOMPARE(seen.title, QString("Velmora"));
            QCOMPARE(seen.modality, Qt::ApplicationModal);
        }
        // Text is plain lines; 256 makes the second button the default.
        Seen seen;
        QCOMPARE(showAndPress(4 + 256, QMessageBox::No, seen, "\"<b>bob</b>\"\r\nHowever..."),
                 answer::kNo);
        QCOMPARE(seen.text, QString("\"<b>bob</b>\"\nHowever..."));
        QCOMPARE(seen.defaultButton, int(QMessageBox::No));
    }

    void theHelpWindowShowsTheTopicAndIsReused() {
        test::TempHome home;
        home.writeFile("help/Index.html",
                       "<html><head><title>Velmora Help</title></head><body>Welcome</body></html>");
        home.writeFile("help/Login.html", "<html><body>Logging in</body></html>");
        QWidget owner;
        QtDesktop desktop;
        desktop.showHelp(home.filePath("help"), "Index.html", &owner);
        QTextBrowser* help = desktop.helpWindow();
        QVERIFY(help && help->isVisible() && help->isWindow());
        QCOMPARE(help->toPlainText(), QString("Welcome"));
        QCOMPARE(help->windowTitle(), QString("Velmora Help"));
        desktop.showHelp(home.filePath("help"), "Login.html", &owner);
        QCOMPARE(desktop.helpWindow(), help);
        QCOMPARE(help->toPlainText(), QString("Logging in"));
    }

    void aLineIsWrittenInFragments() {
        RecordingView view;
        QString text = "hi%%:)%%bye";
        AppendMessageHtml(text, "#0000C0", "alice", "Arial", "12", view, "B", kSmilies);
        QCOMPARE(view.writes,
                 (QStringList{"<b><font color=\"#0000C0\" face=\"MS Sans Serif\" size=\"3\">",
                              "alice:</font></b>&nbsp; ", "<B>",
                              "<font color=\"#0000C0\" face=\"Arial\" size=\"4\">", "hi ",
                              img("smilie.gif") + " ", "bye ", "</font>", "</B>\r\n<br>\r\n"}));
        QVERIFY(text.isEmpty());
        QCOMPARE(view.scrolls, 1);
        // A sender's font name cannot end the attribute or open a tag.
        view.clear();
        text = "x";
        AppendMessageHtml(text, "#000000", "bob", "A\"><img src=x>&", "12", view, "", kPlain);
        QCOMPARE(view.writes.at(3), QString("<font color=\"#000000\" face=\"A&quot;&gt;&lt;img "
                                            "src=x&gt;&amp;\" size=\"4\">"));

        // Style tags close in opening order after the font; unknown letters
        // pass through on both sides.
        for (const auto& [style, open, close] :
             {std::tuple{"U<B>I", "<U><B><I>", "</U></B></I>\r\n<br>\r\n"},
              {"bx", "bx", "bx\r\n<br>\r\n"}}) {
            view.clear();
            text = "x";
            AppendMessageHtml(text, "#000000", "bob", "Arial", "12", view, style, kPlain);
            QCOMPARE(view.writes.at(2), QString(open));
            QCOMPARE(view.writes.last(), QString(close));
        }
    }

    void fontSizesArePointsOverThree() {
        for (const auto& [points, html] : {std::pair{"10", "3.33333333333333"},
                                           {"12", "4"},
                                           {"8", "2.66666666666667"},
                                           {"7.5", "2.5"},
                                           {" 9 ", "3"}}) {
            QCOMPARE(htmlFontSize(points), QString(html));
        }
        // A size that is no number fails after the style tags are written.
        for (const QString size : {"big", "", "12pt", "nan", "inf"}) {
            RecordingView view;
            QString text = "hello";
            QCOMPARE(test::errorNumber([&] {
                         AppendMessageHtml(text, "#000000", "bob", "Arial", size, view, "IU",
                                           kSmilies);
                     }),
                     13);
            QCOMPARE(view.writes.size(), 3);
            QCOMPARE(view.scrolls, 0);
        }
    }

    void spacesAndLineBreaksSplitThePieces() {
        QCOMPARE(body(""), QStringList{" "});
        QCOMPARE(body("\r\nhi"), (QStringList{" ", "<br> ", "hi "}));
        QCOMPARE(body("a\r\n\r\nb"), (QStringList{"a ", "<br> ", " ", "<br> ", "b "}));
        QCOMPARE(body("a%%%%b"), (QStringList{"a ", " ", "b "}));
        // Markup in the text is shown as text.
        QCOMPARE(body("<b>hi</b>%%a>b"), (QStringList{"&lt;b>hi&lt;/b> ", "a>b "}));
    }

    void smilieCodesFollowTheirOrderAndCase() {
        const std::pair<const char*, QString> cases[] = {
            {"O:)", img("angel.gif")},
            {"o:)", img("angel.gif")},
            {":O", img("shocked.gif")},
            {":o", ":o"},
            {":d", img("grin.gif")},
            {"b-)", img("cool.gif")},
            {":-\\", img("whatever.gif")},
            {":-*;):(", img("kiss.gif") + img("wink.gif") + img("sad.gif")},
            // ":O" is taken before "O:)": a shocked face and a smile.
            {":O:)", img("shocked.gif") + img("smilie.gif")},
            {"word:)s", "word" + img("smilie.gif") + "s"},
        };
        for (const auto& [text, html] : cases) {
            QCOMPARE(body(text), QStringList{html + " "});
        }
        // Switched off, codes stay as typed.
        QCOMPARE(body("O:)%%:D", kPlain), (QStringList{"O:) ", ":D "}));
    }

    void addressesBecomeLinks() {
        const std::pair<const char*, QString> cases[] = {
            {"HTTP://Example.com/A>b", anchor("HTTP://Example.com/A>b", "HTTP://Example.com/A>b")},
            {"ftp://f.net/y", anchor("ftp://f.net/y", "ftp://f.net/y")},
            {"WWW.Velmora.ORG/a>b", anchor("http://WWW.Velmora.ORG/a&gt;b", "WWW.Velmora.ORG/a>b")},
            {"www.<x>", anchor("http://www.&lt;x&gt;", "www.&lt;x>")},
            {"MailTo:bob@x.org>", "<a href=\"MailTo:bob@x.org&gt;\">MailTo:bob@x.org></a> "},
            // Only the start of a piece makes an address.
            {"(www.x.org)", "(www.x.org) "},
            {"http:/x", "http:/x "},
        };
        for (const auto& [text, html] : cases) {
            QCOMPARE(body(text, kPlain), QStringList{html});
        }
        // Smilies are drawn inside addresses too.
        const QString broken = "http://host" + img("tounge.gif") + "ort/";
        QCOMPARE(body("http://host:Port/"), QStringList{anchor(broken, broken)});
    }

    void theViewRendersALineOnceItsEndArrives() {
        HtmlMessageView view;
        view.write("<b>alice:</b>&nbsp; hel");
        QCOMPARE(view.toPlainText(), QString());
        view.write("lo</B>\r\n<br>\r\n");
        writeLine(view, "bob", "two\r\nlines");
        QVERIFY(view.source().startsWith("<b>alice:</b>&nbsp; hello</B>\r\n<br>\r\n<b><font"));
        QCOMPARE(view.document()->blockCount(), 2);
        QCOMPARE(view.document()->lastBlock().text(), QString("bob:\u00a0 two \u2028lines "));
        // The fractional size 10 / 3 renders as the nearest whole HTML size,
        // the size of the sender's name.
        QTextCursor name(view.document()->lastBlock());
        name.movePosition(QTextCursor::Right);
        QTextCursor text(view.document()->lastBlock());
        text.movePosition(QTextCursor::EndOfBlock);
        text.movePosition(QTextCursor::Left);
        QCOMPARE(text.charFormat().font().pointSizeF(), name.charFormat().font().pointSizeF());
        // Clearing drops an unfinished line too.
        view.write("<b>unfinished");
        view.clear();
        QCOMPARE(view.source(), QString());
        writeLine(view, "bob", "again");
        QCOMPARE(view.document()->lastBlock().text(), QString("bob:\u00a0 again "));
    }

    void aLinkGoesToTheDesktopAndTheViewFollowsTheEnd() {
        test::RecordingDesktop desktop;
        HtmlMessageView view(desktop);
        view.resize(300, 120);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        writeLine(view, "alice", "see%%www.example.com/a");
        const QString before = view.toPlainText();
        QTextCursor cursor(view.document());
        cursor.setPosition(before.indexOf("example") + 1);
        QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, view.cursorRect(cursor).center());
        QCOMPARE(desktop.urls, QStringList({"http://www.example.com/a"}));
        QCOMPARE(view.toPlainText(), before);
        // Only web and mail addresses open; a file or program link does nothing.
        for (const char* link : {"file:///etc/passwd", "javascript:alert(1)", "smb://host/x",
                                 "HTTPS://a.example/", "ftp://f.example/", "mailto:a@example"}) {
            emit view.anchorClicked(QUrl(QString::fromLatin1(link)));
        }
        QCOMPARE(desktop.urls, QStringList({"http://www.example.com/a", "https://a.example/",
                                            "ftp://f.example/", "mailto:a@example"}));
        for (int i = 0; i < 100; ++i) {
            writeLine(view, "bob", QString::number(i));
            view.scrollToEnd();
        }
        QCOMPARE(view.document()->blockCount(), 101);
        QScrollBar* bar = view.verticalScrollBar();
        QVERIFY(bar->maximum() > 0 && bar->value() == bar->maximum());
    }

    void linesShowInTheRealViewWithTheirPictures() {
        HtmlMessageView view;
        const FormatterOptions shipped{true, QStringLiteral(VELMORA_ASSETS_DIR)};
        QString first = "hi%%:)";
        QString second = "www.x.org%%;)";
        AppendMessageHtml(first, "#0000C0", "alice", "Arial", "10", view, "B", shipped);
        AppendMessageHtml(second, "#000000", "bob", "Arial", "12", view, "", shipped);

        // Every picture is found where the formatter points to it, as an
        // image character (a frame would make each later edit rescan the
        // whole document).
        QStringList pictures;
        for (QTextBlock block = view.document()->begin(); block.isValid(); block = block.next()) {
            for (auto it = block.begin(); !it.atEnd(); ++it) {
                const QTextCharFormat format = it.fragment().charFormat();
                if (format.isImageFormat()) {
                    const QString name = format.toImageFormat().name();
                    pictures << name.section('/', -1);
                    QVERIFY(view.document()
                                ->resource(QTextDocument::ImageResource, QUrl(name))
                                .isValid());
                }
            }
        }
        QCOMPARE(pictures, (QStringList{"smilie.gif", "wink.gif"}));
        QVERIFY(view.document()->rootFrame()->childFrames().isEmpty());
        QTextCursor end(view.document()->firstBlock());
        end.movePosition(QTextCursor::EndOfBlock);
        QVERIFY(end.charFormat().font().bold());
        QCOMPARE(end.charFormat().foreground().color(), QColor("#0000C0"));
    }
};

QTEST_MAIN(PlatformTest)
#include "platform_test.moc"
