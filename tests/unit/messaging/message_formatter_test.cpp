#include "messaging/message_formatter.h"
#include "platform/html_message_view.h"
#include "platform/message_view.h"
#include "session/app_error.h"

#include <QStringList>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextImageFormat>

using namespace velmora;

namespace {

// Keeps every write call apart so that the fragment boundaries can be checked.
class RecordingView : public MessageView {
public:
    void write(const QString& fragment) override { writes << fragment; }
    void clear() override { writes.clear(); }
    void scrollToEnd() override { ++scrolls; }
    QString source() const override { return writes.join(QString()); }

    QStringList writes;
    int scrolls = 0;
};

const QString kImg = QStringLiteral("<img src='C:/Chat/Smilies/%1' alt='' border='0'>");

QString img(const char* file) {
    return kImg.arg(QLatin1String(file));
}

// The written pieces of a message, without the four header writes and the
// two closing ones.
QStringList body(const QString& text, const FormatterOptions& opts) {
    RecordingView view;
    QString t = text;
    AppendMessageHtml(t, "#000000", "bob", "Arial", "12", view, "", opts);
    return view.writes.mid(4, view.writes.size() - 6);
}

} // namespace

class MessageFormatterTest : public QObject {
    Q_OBJECT

    const FormatterOptions smilies{true, QStringLiteral("C:\\Chat")};
    const FormatterOptions plain{false, QStringLiteral("C:\\Chat")};

private slots:
    void ownMessageIsWrittenInNineFragments() {
        RecordingView view;
        QString text = "hi%%:)%%bye";
        AppendMessageHtml(text, "#0000C0", "alice", "Arial", "12", view, "B", smilies);
        const QStringList expected{
            "<b><font color=\"#0000C0\" face=\"MS Sans Serif\" size=\"3\">",
            "alice:</font></b>&nbsp; ",
            "<B>",
            "<font color=\"#0000C0\" face=\"Arial\" size=\"4\">",
            "hi ",
            img("smilie.gif") + " ",
            "bye ",
            "</font>",
            "</B>\r\n<br>\r\n",
        };
        QCOMPARE(view.writes, expected);
        QVERIFY(text.isEmpty());
        QCOMPARE(view.scrolls, 1);
    }

    void fontSizeIsPointsOverThree_data() {
        QTest::addColumn<QString>("points");
        QTest::addColumn<QString>("html");
        QTest::newRow("10") << "10"
                            << "3.33333333333333";
        QTest::newRow("12") << "12"
                            << "4";
        QTest::newRow("8") << "8"
                           << "2.66666666666667";
        QTest::newRow("fraction") << "7.5"
                                  << "2.5";
        QTest::newRow("padded") << " 9 "
                                << "3";
    }
    void fontSizeIsPointsOverThree() {
        QFETCH(QString, points);
        QFETCH(QString, html);
        QCOMPARE(htmlFontSize(points), html);
    }

    void nonNumericSizeFailsAfterTheStyleTags() {
        for (const QString size : {"big", "", "12pt", "nan", "inf"}) {
            RecordingView view;
            QString text = "hello";
            try {
                AppendMessageHtml(text, "#000000", "bob", "Arial", size, view, "IU", smilies);
                QFAIL(qPrintable("no error for size '" + size + "'"));
            } catch (const AppError& e) {
                QCOMPARE(e.number, 13);
            }
            QCOMPARE(view.writes.size(), 3);
            QCOMPARE(view.writes.at(2), QString("<I><U>"));
            QCOMPARE(view.scrolls, 0);
        }
    }

    void styleTagsCloseInOpeningOrderAfterTheFont() {
        RecordingView view;
        QString text = "x";
        AppendMessageHtml(text, "#000000", "bob", "Arial", "12", view, "U<B>I", plain);
        QCOMPARE(view.writes.at(2), QString("<U><B><I>"));
        QCOMPARE(view.writes.at(view.writes.size() - 2), QString("</font>"));
        QCOMPARE(view.writes.last(), QString("</U></B></I>\r\n<br>\r\n"));

        // Unknown letters pass through; no style closes with the line break only.
        view.clear();
        text = "x";
        AppendMessageHtml(text, "#000000", "bob", "Arial", "12", view, "bx", plain);
        QCOMPARE(view.writes.at(2), QString("bx"));
        QCOMPARE(view.writes.last(), QString("bx\r\n<br>\r\n"));
    }

    void emptyTextAndLineBreaksGiveSpacedPieces() {
        QCOMPARE(body("", smilies), QStringList{" "});
        QCOMPARE(body("\r\nhi", smilies), (QStringList{" ", "<br> ", "hi "}));
        QCOMPARE(body("hi\r\n", smilies), (QStringList{"hi ", "<br> ", " "}));
        QCOMPARE(body("a\r\n\r\nb", smilies), (QStringList{"a ", "<br> ", " ", "<br> ", "b "}));
        // Doubled space markers keep their empty piece.
        QCOMPARE(body("a%%%%b", smilies), (QStringList{"a ", " ", "b "}));
    }

    void smilieCodesFollowTheirOrderAndCase() {
        QCOMPARE(body("O:)", smilies), QStringList{img("angel.gif") + " "});
        QCOMPARE(body("o:)", smilies), QStringList{img("angel.gif") + " "});
        QCOMPARE(body(":)", smilies), QStringList{img("smilie.gif") + " "});
        QCOMPARE(body(":O", smilies), QStringList{img("shocked.gif") + " "});
        QCOMPARE(body(":o", smilies), QStringList{":o "});
        QCOMPARE(body(":d", smilies), QStringList{img("grin.gif") + " "});
        QCOMPARE(body(":p", smilies), QStringList{img("tounge.gif") + " "});
        QCOMPARE(body("b-)", smilies), QStringList{img("cool.gif") + " "});
        QCOMPARE(body(":-\\", smilies), QStringList{img("whatever.gif") + " "});
        QCOMPARE(body(":-*;):(", smilies),
                 QStringList{img("kiss.gif") + img("wink.gif") + img("sad.gif") + " "});
        // ":O" is taken before "O:)", so ":O:)" is a shocked face and a smile.
        QCOMPARE(body(":O:)", smilies), QStringList{img("shocked.gif") + img("smilie.gif") + " "});
        // Codes are replaced inside words too.
        QCOMPARE(body("word:)s", smilies), QStringList{"word" + img("smilie.gif") + "s "});
    }

    void smiliesOffLeaveCodesButStillLink() {
        QCOMPARE(body("O:)%%:)%%:D%%www.x.org", plain),
                 (QStringList{"O:) ", ":) ", ":D ",
                              "<a href=\"http://www.x.org\" target=\"_blank\">www.x.org</a> "}));
    }

    void addressesBecomeLinks() {
        QCOMPARE(body("see%%HTTP://Example.com/A>b", plain),
                 (QStringList{"see ", "<a href=\"HTTP://Example.com/A>b\" "
                                      "target=\"_blank\">HTTP://Example.com/A>b</a> "}));
        QCOMPARE(body("https://x.org", plain),
                 QStringList{"<a href=\"https://x.org\" target=\"_blank\">https://x.org</a> "});
        QCOMPARE(body("ftp://f.net/y", plain),
                 QStringList{"<a href=\"ftp://f.net/y\" target=\"_blank\">ftp://f.net/y</a> "});
        QCOMPARE(body("WWW.Velmora.ORG/a>b", plain),
                 QStringList{"<a href=\"http://WWW.Velmora.ORG/a&gt;b\" "
                             "target=\"_blank\">WWW.Velmora.ORG/a>b</a> "});
        QCOMPARE(body("MailTo:bob@x.org>", plain),
                 QStringList{"<a href=\"MailTo:bob@x.org&gt;\">MailTo:bob@x.org></a> "});
        // Only the start of a piece makes it an address.
        QCOMPARE(body("(www.x.org)", plain), QStringList{"(www.x.org) "});
        QCOMPARE(body("http:/x", plain), QStringList{"http:/x "});
    }

    void smiliesBreakAddressesThatContainCodes() {
        QCOMPARE(body("http://host:Port/", smilies),
                 QStringList{"<a href=\"http://host" + img("tounge.gif") +
                             "ort/\" target=\"_blank\">http://host" + img("tounge.gif") +
                             "ort/</a> "});
    }

    void markupInTheBodyIsShownAsText() {
        QCOMPARE(body("<b>hi</b>%%a>b", plain), (QStringList{"&lt;b>hi&lt;/b> ", "a>b "}));
        QCOMPARE(body("www.<x>", plain),
                 QStringList{"<a href=\"http://www.&lt;x&gt;\" target=\"_blank\">www.&lt;x></a> "});
    }

    void chatLinesShowInTheRealViewWithTheirPictures() {
        HtmlMessageView view;
        const FormatterOptions shipped{true, QStringLiteral(VELMORA_ASSETS_DIR)};
        QString first = "hi%%:)";
        QString second = "www.x.org%%;)";
        AppendMessageHtml(first, "#0000C0", "alice", "Arial", "10", view, "B", shipped);
        const QString afterFirst = view.source();
        AppendMessageHtml(second, "#000000", "bob", "Arial", "12", view, "", shipped);

        QVERIFY(view.source().startsWith(afterFirst));
        QVERIFY(view.source().endsWith("</font>\r\n<br>\r\n"));
        QCOMPARE(view.renderedLines(), 2);
        QCOMPARE(view.document()->blockCount(), 2);
        // U+FFFC stands for each picture.
        QCOMPARE(view.document()->firstBlock().text(), QString("alice:\u00a0 hi \ufffc "));
        QCOMPARE(view.document()->lastBlock().text(), QString("bob:\u00a0 www.x.org \ufffc "));

        // Every picture written is found where the formatter points to it.
        QStringList pictures;
        for (QTextBlock block = view.document()->begin(); block.isValid(); block = block.next()) {
            for (auto it = block.begin(); !it.atEnd(); ++it) {
                const QTextCharFormat format = it.fragment().charFormat();
                if (format.isImageFormat()) {
                    const QString name = format.toImageFormat().name();
                    pictures << name.section('/', -1);
                    const QVariant data =
                        view.document()->resource(QTextDocument::ImageResource, QUrl(name));
                    QVERIFY2(data.isValid(), qPrintable(name));
                }
            }
        }
        QCOMPARE(pictures, (QStringList{"smilie.gif", "wink.gif"}));
        // Pictures arrive as image characters, not frames (each frame makes
        // every later edit rescan the whole document), and the line keeps the
        // formats of its tags.
        QVERIFY(view.document()->rootFrame()->childFrames().isEmpty());
        QTextCursor end(view.document()->firstBlock());
        end.movePosition(QTextCursor::EndOfBlock);
        QVERIFY(end.charFormat().font().bold());
        QCOMPARE(end.charFormat().foreground().color(), QColor("#0000C0"));
    }
};

QTEST_MAIN(MessageFormatterTest)
#include "message_formatter_test.moc"
