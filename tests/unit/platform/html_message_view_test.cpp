#include "platform/html_message_view.h"

#include "support/recording_desktop.h"

#include <QAbstractTextDocumentLayout>
#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

using velmora::HtmlMessageView;
using velmora::test::RecordingDesktop;

namespace {

const QString kHeader =
    "<html>\r\n<body Style=\"Margin: 0px;\" SCROLL=\"Auto\" BGCOLOR=\"#FFFFFF\" "
    "OnContextMenu=\"javascript: return true;\">\r\n"
    "<font name=\"MS Sans Serif\" size=\"3\" color=\"#FF0000\">Remember: You "
    "should never give out personal information online!</font>\r\n"
    "<hr color=\"#FF0000\" size=\"1\">\r\n<br>\r\n";

// A chat line as the message formatter writes it, one fragment per write.
QStringList chatLine(const QString& sender, const QStringList& pieces) {
    QStringList fragments{"<b><font color=\"#0000C0\" face=\"MS Sans Serif\" size=\"3\">",
                          sender + ":</font></b>&nbsp; ", "<B>",
                          "<font color=\"#0000C0\" face=\"Arial\" size=\"3.33333333333333\">"};
    for (const QString& piece : pieces) {
        fragments.append(piece + ' ');
    }
    fragments.append("</font>");
    fragments.append("</B>\r\n<br>\r\n");
    return fragments;
}

void writeAll(HtmlMessageView& view, const QStringList& fragments) {
    for (const QString& fragment : fragments) {
        view.write(fragment);
    }
}

QStringList blockTexts(const QTextDocument& document) {
    QStringList texts;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        texts.append(block.text());
    }
    return texts;
}

} // namespace

class HtmlMessageViewTest : public QObject {
    Q_OBJECT
private slots:
    void keepsSourceAndRendersOneBlockPerLine();
    void lineWaitsForItsEnd();
    void linkGoesToDesktopAndKeepsChat();
    void scrollToEndShowsLastLine();
};

void HtmlMessageViewTest::keepsSourceAndRendersOneBlockPerLine() {
    HtmlMessageView view;
    view.write(kHeader);
    const QStringList first = chatLine("alice", {"hi", "there"});
    const QStringList second = chatLine("bob", {"two", "<br>", "lines"});
    const QStringList third = chatLine(
        "alice", {"<a href=\"http://www.example.com\" target=\"_blank\">www.example.com</a>"});
    writeAll(view, first);
    writeAll(view, second);
    view.write(third.join(QString()));

    QCOMPARE(view.source(),
             kHeader + first.join(QString()) + second.join(QString()) + third.join(QString()));
    QCOMPARE(view.renderedLines(), 4);

    const QStringList texts = blockTexts(*view.document());
    QVERIFY(texts.first().contains("Remember: You should never give out personal information "
                                   "online!"));
    QCOMPARE(texts.mid(texts.size() - 3),
             QStringList({QString::fromUtf8("alice:\u00a0 hi there "),
                          QString::fromUtf8("bob:\u00a0 two \u2028lines "),
                          QString::fromUtf8("alice:\u00a0 www.example.com ")}));

    HtmlMessageView chat;
    for (int i = 0; i < 50; ++i) {
        writeAll(chat, chatLine("bob", {QString::number(i)}));
    }
    QCOMPARE(chat.document()->blockCount(), 50);
    QCOMPARE(chat.document()->lastBlock().text(), QString::fromUtf8("bob:\u00a0 49 "));
}

void HtmlMessageViewTest::lineWaitsForItsEnd() {
    HtmlMessageView view;
    const QStringList line = chatLine("alice", {"hello"});
    writeAll(view, line.mid(0, 5));
    QCOMPARE(view.source(), line.mid(0, 5).join(QString()));
    QCOMPARE(view.toPlainText(), QString());
    writeAll(view, line.mid(5));
    QCOMPARE(view.document()->firstBlock().text(), QString::fromUtf8("alice:\u00a0 hello "));
    // The fractional size 10 / 3 stays in the source but renders as the
    // nearest whole HTML size, the size of the sender's name.
    QVERIFY(view.source().contains("size=\"3.33333333333333\""));
    QTextCursor name(view.document()->firstBlock());
    name.movePosition(QTextCursor::Right);
    QTextCursor text(view.document()->firstBlock());
    text.movePosition(QTextCursor::EndOfBlock);
    text.movePosition(QTextCursor::Left);
    QCOMPARE(text.charFormat().font().pointSizeF(), name.charFormat().font().pointSizeF());

    // A notice that does not end like a chat line shows once scrolled to.
    view.write("\r\n<br><font color=\"#FF0000\"> -> bob Entered</font>\r\n");
    QCOMPARE(view.document()->blockCount(), 1);
    view.scrollToEnd();
    QCOMPARE(view.document()->lastBlock().text().trimmed(), QString("-> bob Entered"));

    view.write("<b>unfinished");
    view.clear();
    QCOMPARE(view.source(), QString());
    QCOMPARE(view.toPlainText(), QString());
    writeAll(view, chatLine("bob", {"again"}));
    QCOMPARE(view.document()->blockCount(), 1);
    QCOMPARE(view.document()->firstBlock().text(), QString::fromUtf8("bob:\u00a0 again "));
}

void HtmlMessageViewTest::linkGoesToDesktopAndKeepsChat() {
    RecordingDesktop desktop;
    HtmlMessageView view(desktop);
    view.resize(400, 200);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    writeAll(view, chatLine("alice", {"see", "<a href=\"http://www.example.com/a\" "
                                             "target=\"_blank\">www.example.com/a</a>"}));
    const QString before = view.toPlainText();

    QTextCursor cursor(view.document());
    cursor.setPosition(before.indexOf("example") + 1);
    const QPoint link = view.cursorRect(cursor).center();
    QTest::mouseClick(view.viewport(), Qt::LeftButton, {}, link);

    QCOMPARE(desktop.urls(), QStringList({"http://www.example.com/a"}));
    QCOMPARE(view.toPlainText(), before);
}

void HtmlMessageViewTest::scrollToEndShowsLastLine() {
    HtmlMessageView view;
    view.resize(300, 120);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    for (int i = 0; i < 100; ++i) {
        writeAll(view, chatLine("bob", {"line", QString::number(i)}));
        view.scrollToEnd();
    }
    QScrollBar* bar = view.verticalScrollBar();
    QVERIFY(bar->maximum() > 0);
    QCOMPARE(bar->value(), bar->maximum());
}

QTEST_MAIN(HtmlMessageViewTest)
#include "html_message_view_test.moc"
