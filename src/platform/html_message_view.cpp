#include "platform/html_message_view.h"

#include "platform/desktop.h"

#include <QAbstractTextDocumentLayout>
#include <QDesktopServices>
#include <QPalette>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextBlockFormat>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextImageFormat>

namespace velmora {

namespace {

const QLatin1String kLineEnd("<br>\r\n");

// The block that holds a line already ends it, so the line's own closing
// "<br>" would add an empty line under every message.
QString withoutClosingBreak(QString html) {
    while (!html.isEmpty() && html.back().isSpace()) {
        html.chop(1);
    }
    if (html.endsWith(QLatin1String("<br>"), Qt::CaseInsensitive)) {
        html.chop(4);
    }
    return html;
}

// Message fonts carry fractional HTML sizes (points / 3, "3.33333333333333").
// The source keeps them exactly; the renderer only knows the whole sizes 1
// to 7 and would fall back to its smallest font, so it is shown the nearest.
QString withWholeFontSizes(const QString& html) {
    static const QRegularExpression fractional(QStringLiteral("size=\"(\\d+)\\.(\\d+)\""));
    QString out;
    qsizetype last = 0;
    auto it = fractional.globalMatch(html);
    while (it.hasNext()) {
        const QRegularExpressionMatch m = it.next();
        const double value = (m.captured(1) + QLatin1Char('.') + m.captured(2)).toDouble();
        out += QStringView(html).mid(last, m.capturedStart() - last);
        out += QStringLiteral("size=\"%1\"").arg(qBound(1, qRound(value), 7));
        last = m.capturedEnd();
    }
    out += QStringView(html).mid(last);
    return out;
}

// Links in a message come from whoever sent it: a click opens web and mail
// addresses only, never a local file or a program's own scheme.
bool isOpenableLink(const QUrl& url) {
    const QString scheme = url.scheme().toLower();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https") ||
           scheme == QLatin1String("ftp") || scheme == QLatin1String("mailto");
}

} // namespace

HtmlMessageView::HtmlMessageView(QWidget* parent) : QTextBrowser(parent) {
    setUp();
    connect(this, &QTextBrowser::anchorClicked, this, [](const QUrl& url) {
        if (isOpenableLink(url)) {
            QDesktopServices::openUrl(url);
        }
    });
}

HtmlMessageView::HtmlMessageView(Desktop& desktop, QWidget* parent) : QTextBrowser(parent) {
    setUp();
    connect(this, &QTextBrowser::anchorClicked, this, [&desktop](const QUrl& url) {
        if (isOpenableLink(url)) {
            desktop.openUrl(url.toString());
        }
    });
}

void HtmlMessageView::setUp() {
    // Messages carry colours their senders chose against a white page, so
    // the page stays white under a dark desktop palette too.
    QPalette page = palette();
    page.setColor(QPalette::Base, Qt::white);
    page.setColor(QPalette::Text, Qt::black);
    page.setColor(QPalette::Link, QColor(0x00, 0x00, 0xee));
    page.setColor(QPalette::LinkVisited, QColor(0x55, 0x1a, 0x8b));
    setPalette(page);
    // A clicked link must never replace the conversation with the page.
    setOpenLinks(false);
    // A chat of thousands of lines needs no undo history.
    document()->setUndoRedoEnabled(false);
}

void HtmlMessageView::write(const QString& fragment) {
    source_ += fragment;
    pending_ += fragment;
    if (fragment.endsWith(kLineEnd)) {
        renderPending();
    }
}

void HtmlMessageView::renderPending() {
    if (pending_.isEmpty()) {
        return;
    }
    // The line is parsed in a scratch document and copied over fragment by
    // fragment. Inserting the HTML directly leaves an empty frame in the
    // chat for every picture, and every new frame makes the document scan
    // all of its fragments again: a chat full of smilies would get slower
    // with each line.
    QTextDocument line;
    line.setDefaultFont(document()->defaultFont());
    line.setHtml(withWholeFontSizes(withoutClosingBreak(pending_)));
    pending_.clear();

    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    bool firstBlock = true;
    for (QTextBlock block = line.begin(); block.isValid(); block = block.next()) {
        if (renderedLines_ > 0 || !firstBlock) {
            // Fresh formats: a line's unclosed tags must not leak into the next.
            cursor.insertBlock(block.blockFormat(), block.charFormat());
        } else {
            cursor.setBlockFormat(block.blockFormat());
            cursor.setBlockCharFormat(block.charFormat());
        }
        firstBlock = false;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            QTextCharFormat format = fragment.charFormat();
            // Objects belong to the scratch document; nothing refers to them here.
            format.clearProperty(QTextFormat::ObjectIndex);
            if (format.isImageFormat()) {
                for (qsizetype i = 0; i < fragment.length(); ++i) {
                    cursor.insertImage(format.toImageFormat());
                }
            } else {
                cursor.insertText(fragment.text(), format);
            }
        }
    }
    cursor.endEditBlock();
    ++renderedLines_;
}

void HtmlMessageView::clear() {
    QTextBrowser::clear();
    source_.clear();
    pending_.clear();
    renderedLines_ = 0;
}

void HtmlMessageView::scrollToEnd() {
    renderPending();
    // The layout runs lazily; asking for the size finishes it so that the
    // scroll bar's range includes the last line.
    document()->documentLayout()->documentSize();
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

} // namespace velmora
