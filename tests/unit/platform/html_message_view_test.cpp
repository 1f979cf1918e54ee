// The conversation view: it keeps the written source exactly, renders each
// chat line once its end has arrived, hands links to the desktop and
// follows the newest line.
#include "platform/html_message_view.h"

#include "support/doubles.h"

#include <QScrollBar>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

using velmora::HtmlMessageView;

namespace {

// A chat line as the formatter writes it, one fragment per write.
void writeLine(HtmlMessageView& view, const QString& sender, const QString& body) {
    for (const QString& fragment :
         QStringList{"<b><font color=\"#0000C0\" face=\"MS Sans Serif\" size=\"3\">",
                     sender + ":</font></b>&nbsp; ", QString("<B>"),
                     QString("<font color=\"#0000C0\" face=\"Arial\" size=\"3.33333333333333\">"),
                     body + ' ', QString("</font>"), QString("</B>\r\n<br>\r\n")}) {
        view.write(fragment);
    }
}

} // namespace

class HtmlMessageViewTest : public QObject {
    Q_OBJECT

private slots:
    void aLineRendersOnceItsEndArrives() {
        HtmlMessageView view;
        view.write("<b><font color=\"#0000C0\">alice:</font></b>&nbsp; hel");
        QCOMPARE(view.toPlainText(), QString());
        view.write("lo</B>\r\n<br>\r\n");
        writeLine(view, "bob", "two <br> lines");
        QCOMPARE(view.source(), "<b><font color=\"#0000C0\">alice:</font></b>&nbsp; hello</B>\r\n"
                                "<br>\r\n<b><font color=\"#0000C0\" face=\"MS Sans Serif\" "
                                "size=\"3\">bob:</font></b>&nbsp; <B><font color=\"#0000C0\" "
                                "face=\"Arial\" size=\"3.33333333333333\">two <br> lines "
                                "</font></B>\r\n<br>\r\n");
        QCOMPARE(view.document()->blockCount(), 2);
        QCOMPARE(view.document()->lastBlock().text(), QString("bob:\u00a0 two \u2028lines "));
        // The fractional size renders as the nearest whole HTML size, the
        // size of the sender's name.
        QTextCursor name(view.document()->lastBlock());
        name.movePosition(QTextCursor::Right);
        QTextCursor text(view.document()->lastBlock());
        text.movePosition(QTextCursor::EndOfBlock);
        text.movePosition(QTextCursor::Left);
        QCOMPARE(text.charFormat().font().pointSizeF(), name.charFormat().font().pointSizeF());

        // A notice that does not end like a chat line shows once scrolled to.
        view.write("\r\n<br><font color=\"#FF0000\"> -> bob Entered</font>\r\n");
        QCOMPARE(view.document()->blockCount(), 2);
        view.scrollToEnd();
        QCOMPARE(view.document()->lastBlock().text().trimmed(), QString("-> bob Entered"));

        // Clearing drops an unfinished line too.
        view.write("<b>unfinished");
        view.clear();
        QCOMPARE(view.source(), QString());
        writeLine(view, "bob", "again");
        QCOMPARE(view.document()->lastBlock().text(), QString("bob:\u00a0 again "));
    }

    void aLinkGoesToTheDesktopAndTheViewFollowsTheEnd() {
        velmora::test::RecordingDesktop desktop;
        HtmlMessageView view(desktop);
        view.resize(300, 120);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        writeLine(
            view, "alice",
            "see <a href=\"http://www.example.com/a\" target=\"_blank\">www.example.com/a</a>");
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
        QVERIFY(bar->maximum() > 0);
        QCOMPARE(bar->value(), bar->maximum());
    }
};

QTEST_MAIN(HtmlMessageViewTest)
#include "html_message_view_test.moc"
