// The chat-line HTML, fragment by fragment: the one place where the
// formatter's output is spelled out (windows and end-to-end tests only check
// where lines go and what the user reads); then the conversation view it
// writes into, which renders a line once its end has arrived, hands links to
// the desktop and follows the newest line.
#include "messaging/message_formatter.h"
#include "platform/html_message_view.h"
#include "platform/message_view.h"
#include "session/app_error.h"
#include "support/doubles.h"

#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextImageFormat>

using namespace velmora;

namespace {

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

class MessageFormatterTest : public QObject {
    Q_OBJECT

private slots:
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
            {":p", img("tounge.gif")},
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
        QCOMPARE(view.document()->blockCount(), 2);

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

QTEST_MAIN(MessageFormatterTest)
#include "message_formatter_test.moc"
