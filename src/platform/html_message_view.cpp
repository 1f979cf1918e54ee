#include "platform/html_message_view.h"

#include "platform/desktop.h"

#include <QAbstractTextDocumentLayout>
#include <QDesktopServices>
#include <QScrollBar>
#include <QTextBlockFormat>
#include <QTextCharFormat>
#include <QTextCursor>

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

} // namespace

HtmlMessageView::HtmlMessageView(QWidget* parent) : QTextBrowser(parent) {
    setUp();
    connect(this, &QTextBrowser::anchorClicked, this,
            [](const QUrl& url) { QDesktopServices::openUrl(url); });
}

HtmlMessageView::HtmlMessageView(Desktop& desktop, QWidget* parent) : QTextBrowser(parent) {
    setUp();
    connect(this, &QTextBrowser::anchorClicked, this,
            [&desktop](const QUrl& url) { desktop.openUrl(url.toString()); });
}

void HtmlMessageView::setUp() {
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
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    cursor.beginEditBlock();
    if (renderedLines_ > 0) {
        // Fresh formats: a line's unclosed tags must not leak into the next.
        cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
    }
    cursor.insertHtml(withoutClosingBreak(pending_));
    cursor.endEditBlock();
    pending_.clear();
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
