#include "history/history_window.h"

#include "history/history.h"
#include "messaging/chat_window.h"
#include "messaging/message_formatter.h"
#include "platform/html_message_view.h"
#include "platform/number_text.h"
#include "platform/prompter.h"
#include "session/session.h"
#include "session/space_mark.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTextBlock>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmora {

namespace {

enum Column { kTime, kFrom, kConversation, kMessage };

QString shownTime(qint64 at) {
    return QLocale().toString(QDateTime::fromMSecsSinceEpoch(at), QLocale::ShortFormat);
}

QString conversationName(const HistoryLine& line) {
    return line.room ? line.conversation + QStringLiteral(" (room)") : line.conversation;
}

// A stored size that is not a number (an old or damaged file) is drawn at
// the default size rather than refused.
QString drawableSize(const QString& size) {
    try {
        (void)number_text::toDouble(size);
        return size;
    } catch (const AppError&) {
        return QStringLiteral("10");
    }
}

} // namespace

HistoryWindow::HistoryWindow(Session& session, History& history)
    : session_(session), history_(history), txtSearch_(new QLineEdit),
      cmdSearch_(new QPushButton(QStringLiteral("&Search"))), lvResults_(new QTreeWidget),
      lblConversation_(new QLabel), cmdOpen_(new QPushButton(QStringLiteral("&Open Conversation"))),
      brwConversation_(new HtmlMessageView(session.desktop())), lblStatus_(new QLabel) {
    setObjectName(QLatin1StringView(kFormName));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Search History"));
    buildForm();
    resize(720, 560);

    connect(cmdSearch_, &QPushButton::clicked, this, [this] { cmdSearch_Click(); });
    connect(txtSearch_, &QLineEdit::returnPressed, this, [this] { cmdSearch_Click(); });
    connect(lvResults_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
        if (item) {
            openResult(lvResults_->indexOfTopLevelItem(item));
        }
    });
    connect(cmdOpen_, &QPushButton::clicked, this, [this] {
        const int row = lvResults_->indexOfTopLevelItem(lvResults_->currentItem());
        if (row >= 0 && row < results_.size() && !results_[row].room) {
            session_.trap([&] { session_.requestConversation(results_[row].conversation); });
        }
    });
    // Ids of removed lines would open nothing.
    connect(&history_, &History::changed, this, [this] {
        clearResults();
        lblStatus_->clear();
    });
}

void HistoryWindow::buildForm() {
    txtSearch_->setObjectName(QStringLiteral("txtSearch"));
    txtSearch_->setPlaceholderText(QStringLiteral("words to find in every conversation"));
    cmdSearch_->setObjectName(QStringLiteral("cmdSearch"));
    cmdSearch_->setDefault(true);
    lvResults_->setObjectName(QStringLiteral("lvResults"));
    lvResults_->setHeaderLabels({QStringLiteral("Time"), QStringLiteral("From"),
                                 QStringLiteral("Conversation"), QStringLiteral("Message")});
    lvResults_->setRootIsDecorated(false);
    lvResults_->setUniformRowHeights(true);
    lvResults_->header()->setSectionResizeMode(kTime, QHeaderView::ResizeToContents);
    lvResults_->setColumnWidth(kFrom, 90);
    lvResults_->setColumnWidth(kConversation, 110);
    lblConversation_->setObjectName(QStringLiteral("lblConversation"));
    cmdOpen_->setObjectName(QStringLiteral("cmdOpen"));
    cmdOpen_->setEnabled(false);
    brwConversation_->setObjectName(QStringLiteral("brwConversation"));
    lblStatus_->setObjectName(QStringLiteral("lblStatus"));

    auto* find = new QHBoxLayout;
    auto* label = new QLabel(QStringLiteral("&Find:"));
    label->setBuddy(txtSearch_);
    find->addWidget(label);
    find->addWidget(txtSearch_, 1);
    find->addWidget(cmdSearch_);

    auto* conversation = new QWidget;
    auto* conversationLayout = new QVBoxLayout(conversation);
    conversationLayout->setContentsMargins(0, 4, 0, 0);
    auto* heading = new QHBoxLayout;
    heading->addWidget(lblConversation_, 1);
    heading->addWidget(cmdOpen_);
    conversationLayout->addLayout(heading);
    conversationLayout->addWidget(brwConversation_, 1);

    auto* split = new QSplitter(Qt::Vertical);
    split->setChildrenCollapsible(false);
    split->addWidget(lvResults_);
    split->addWidget(conversation);
    split->setSizes({220, 300});

    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(6, 6, 6, 2);
    layout->addLayout(find);
    layout->addWidget(split, 1);
    setCentralWidget(central);
    statusBar()->addPermanentWidget(lblStatus_, 1);
}

QString HistoryWindow::statusText() const {
    return lblStatus_->text();
}

QString HistoryWindow::markedText() const {
    const QList<QTextEdit::ExtraSelection> marked = brwConversation_->extraSelections();
    return marked.isEmpty() ? QString() : marked.first().cursor.selectedText().simplified();
}

void HistoryWindow::cmdSearch_Click() {
    session_.trap([this] { search(); });
}

void HistoryWindow::clearResults() {
    results_.clear();
    lvResults_->clear();
    brwConversation_->clear();
    brwConversation_->setExtraSelections({});
    lblConversation_->clear();
    cmdOpen_->setEnabled(false);
}

void HistoryWindow::search() {
    clearResults();
    history_.flush();
    HistoryStore* store = history_.store();
    if (!store) {
        lblStatus_->setText(QStringLiteral("The message history is not available"));
        session_.showMessage(QStringLiteral("The message history cannot be used:\r\n") +
                                 history_.problem() +
                                 QStringLiteral("\r\n\r\nClear History on the History page of "
                                                "Edit > Settings... starts a new one."),
                             style::kExclamation, QStringLiteral("Search History"), this);
        return;
    }
    // One more than shown tells whether there were more.
    results_ = store->search(txtSearch_->text(), kMostResults + 1);
    const bool more = results_.size() > kMostResults;
    if (more) {
        results_.removeLast();
    }
    QList<QTreeWidgetItem*> rows;
    for (const HistoryLine& line : std::as_const(results_)) {
        QString text = line.text;
        text.replace(QLatin1StringView("\r\n"), QLatin1StringView(" "));
        rows.append(new QTreeWidgetItem(
            QStringList{shownTime(line.at), line.sender, conversationName(line), text}));
    }
    lvResults_->addTopLevelItems(rows);
    if (results_.isEmpty()) {
        lblStatus_->setText(QStringLiteral("No lines found"));
    } else if (more) {
        lblStatus_->setText(QStringLiteral("The newest %1 lines found").arg(kMostResults));
    } else {
        lblStatus_->setText(results_.size() == 1
                                ? QStringLiteral("1 line found")
                                : QStringLiteral("%1 lines found").arg(results_.size()));
    }
}

void HistoryWindow::openResult(int row) {
    if (row < 0 || row >= results_.size()) {
        return;
    }
    if (lvResults_->currentItem() != lvResults_->topLevelItem(row)) {
        // Comes back here through currentItemChanged.
        lvResults_->setCurrentItem(lvResults_->topLevelItem(row));
        return;
    }
    session_.trap([&] { showConversation(results_[row]); });
}

void HistoryWindow::showConversation(const HistoryLine& line) {
    brwConversation_->clear();
    brwConversation_->setExtraSelections({});
    lblConversation_->setText(line.room ? QStringLiteral("Room ") + line.conversation
                                        : QStringLiteral("Conversation with ") + line.conversation);
    cmdOpen_->setEnabled(!line.room);
    HistoryStore* store = history_.store();
    if (!store) {
        return;
    }
    // The line's place in the view, by character: a cursor would move along
    // with the text written after it.
    const auto end = [this] { return brwConversation_->document()->characterCount() - 1; };
    int markFrom = -1;
    int markTo = -1;
    for (const HistoryLine& each : store->around(line, kContextLines, kContextLines)) {
        const bool chosen = each.id == line.id;
        if (chosen) {
            markFrom = end();
        }
        writeLine(each);
        if (chosen) {
            markTo = end();
        }
    }
    if (markFrom < 0) {
        return;
    }
    QTextCursor mark(brwConversation_->document());
    mark.setPosition(markFrom);
    mark.setPosition(markTo, QTextCursor::KeepAnchor);
    QTextEdit::ExtraSelection marked;
    marked.cursor = mark;
    marked.format.setBackground(QColor(0xFF, 0xF0, 0x9E));
    brwConversation_->setExtraSelections({marked});
    QTextCursor top(brwConversation_->document());
    top.setPosition(mark.selectionStart());
    brwConversation_->setTextCursor(top);
    brwConversation_->ensureCursorVisible();
}

void HistoryWindow::writeLine(const HistoryLine& line) {
    brwConversation_->write(QStringLiteral("<font color=\"#808080\" face=\"MS Sans Serif\" "
                                           "size=\"2\">") +
                            shownTime(line.at).toHtmlEscaped() + QStringLiteral("</font>&nbsp; "));
    const bool own = line.sender.compare(line.owner, Qt::CaseInsensitive) == 0;
    QString text = spacesToMarks(line.text);
    AppendMessageHtml(text,
                      QLatin1StringView(own ? ChatWindow::kOwnColour : ChatWindow::kOthersColour),
                      line.sender.toHtmlEscaped(), line.fontName, drawableSize(line.fontSize),
                      *brwConversation_, line.style, formatterOptions(session_));
}

} // namespace velmora
