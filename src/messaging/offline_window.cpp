#include "messaging/offline_window.h"

#include "messaging/chat_window.h"
#include "messaging/offline_database.h"
#include "messaging/pm_window.h"
#include "platform/desktop.h"
#include "platform/html_message_view.h"
#include "platform/number_text.h"
#include "session/session.h"
#include "session/space_mark.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmora {

namespace {

const QString kBlankPage = QStringLiteral(
    "<html>\r\n<body OnContextMenu=\"return false;\" style=\"margin: 0px;\" scroll=\"auto\">");

void setBold(QTreeWidgetItem& item, bool bold) {
    for (int column = 0; column < item.columnCount(); ++column) {
        QFont font = item.font(column);
        font.setBold(bold);
        item.setFont(column, font);
    }
}

QPushButton* addButton(QHBoxLayout* row, const char* name, const QString& text) {
    auto* button = new QPushButton(text);
    button->setObjectName(QLatin1String(name));
    row->addWidget(button);
    return button;
}

} // namespace

OfflineMessagesWindow::OfflineMessagesWindow(Session& session) : session_(session) {
    setObjectName(QLatin1String(kFormName));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Offline Messages"));
    resize(520, 420);

    lvMessages_ = new QTreeWidget;
    lvMessages_->setObjectName(QStringLiteral("lvMessages"));
    lvMessages_->setAccessibleName(QStringLiteral("Offline messages"));
    lvMessages_->setRootIsDecorated(false);
    lvMessages_->setUniformRowHeights(true);
    lvMessages_->setHeaderLabels(
        {QStringLiteral("Sent"), QStringLiteral("From"), QStringLiteral("Message")});
    lvMessages_->header()->resizeSection(kSentColumn, 130);
    lvMessages_->header()->resizeSection(kFromColumn, 100);

    brwMessage_ = new HtmlMessageView(session.desktop());
    brwMessage_->setObjectName(QStringLiteral("brwMessage"));
    brwMessage_->setAccessibleName(QStringLiteral("Message"));
    brwMessage_->setContextMenuPolicy(Qt::NoContextMenu);

    auto* split = new QSplitter(Qt::Vertical);
    split->addWidget(lvMessages_);
    split->addWidget(brwMessage_);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 1);

    auto* buttons = new QHBoxLayout;
    cmdReply_ = addButton(buttons, "cmdReply", QStringLiteral("&Reply"));
    cmdDelete_ = addButton(buttons, "cmdDelete", QStringLiteral("&Delete"));
    buttons->addStretch();
    cmdClose_ = addButton(buttons, "cmdClose", QStringLiteral("&Close"));

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(split);
    layout->addLayout(buttons);

    connect(lvMessages_, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* item) { session_.trap([&] { lvMessages_ItemClick(item); }); });
    connect(lvMessages_, &QTreeWidget::itemActivated, this,
            [this](QTreeWidgetItem* item) { session_.trap([&] { lvMessages_ItemClick(item); }); });
    connect(cmdDelete_, &QPushButton::clicked, this,
            [this] { session_.trap([&] { cmdDelete_Click(); }); });
    connect(cmdReply_, &QPushButton::clicked, this,
            [this] { session_.trap([&] { cmdReply_Click(); }); });
    connect(cmdClose_, &QPushButton::clicked, this,
            [this] { session_.trap([&] { cmdClose_Click(); }); });

    session_.trap([&] { Form_Load(); });
}

OfflineMessagesWindow::~OfflineMessagesWindow() = default;

void OfflineMessagesWindow::blankView() {
    brwMessage_->clear();
    brwMessage_->write(kBlankPage);
}

void OfflineMessagesWindow::setControlsEnabled(bool enabled) {
    for (QWidget* control : {static_cast<QWidget*>(lvMessages_), static_cast<QWidget*>(brwMessage_),
                             static_cast<QWidget*>(cmdReply_), static_cast<QWidget*>(cmdDelete_),
                             static_cast<QWidget*>(cmdClose_)}) {
        control->setEnabled(enabled);
    }
}

qint64 OfflineMessagesWindow::indexOf(const QTreeWidgetItem& item) {
    return number_text::toInt32(item.data(kSentColumn, kKeyRole).toString().mid(1));
}

void OfflineMessagesWindow::Form_Load() {
    lvMessages_->clear();
    shownPosition_ = 0;
    blankView();
    if (!database_) {
        database_ = std::make_unique<OfflineDatabase>(
            session_.appFolder(), OfflineDatabase::connectionName(session_, kFormName));
    }
    database_->forEachMessage(session_.values().userName, [this](const StoredMessage& row) {
        const bool unread = number_text::toBool(row.read);
        auto* item = new QTreeWidgetItem;
        item->setText(kSentColumn, row.senttime);
        item->setData(kSentColumn, kKeyRole, QStringLiteral("m") + QString::number(row.index));
        item->setText(kFromColumn, row.fromwho);
        item->setText(kMessageColumn, marksToSpaces(row.message));
        setBold(*item, unread);
        lvMessages_->addTopLevelItem(item);
    });
    if (lvMessages_->topLevelItemCount() > 0) {
        // The list opens on its first message, as if the user had clicked it.
        lvMessages_->setCurrentItem(lvMessages_->topLevelItem(0));
        lvMessages_ItemClick(lvMessages_->currentItem());
    }
}

void OfflineMessagesWindow::lvMessages_ItemClick(QTreeWidgetItem* item) {
    if (item == nullptr) {
        return;
    }
    const int position = lvMessages_->indexOfTopLevelItem(item) + 1;
    if (position == shownPosition_ || item->text(kSentColumn).isEmpty()) {
        return;
    }
    shownPosition_ = position;
    // Nothing may act on the list while the view is rebuilt; a failed step
    // must not leave the window dead either.
    setControlsEnabled(false);
    struct Reenable {
        OfflineMessagesWindow* window;
        ~Reenable() { window->setControlsEnabled(true); }
    } reenable{this};

    blankView();
    QString text = spacesToMarks(item->text(kMessageColumn));
    AppendMessageHtml(text, QString(), item->text(kFromColumn), QStringLiteral("MS Sans Serif"),
                      QStringLiteral("9"), *brwMessage_, QStringLiteral("0"),
                      formatterOptions(session_));
    // A row already read needs no write, so a file that has become
    // read-only still shows its read messages without a report each time.
    if (item->font(kSentColumn).bold()) {
        database_->markRead(indexOf(*item));
        setBold(*item, false);
    }
}

void OfflineMessagesWindow::cmdDelete_Click() {
    QTreeWidgetItem* item = lvMessages_->currentItem();
    if (item == nullptr) {
        return;
    }
    database_->remove(indexOf(*item));
    delete item;
    brwMessage_->clear();
    if (lvMessages_->topLevelItemCount() == 0) {
        blankView();
    }
    cmdReply_->setEnabled(false);
    cmdDelete_->setEnabled(false);
    shownPosition_ = 0;
}

void OfflineMessagesWindow::cmdReply_Click() {
    if (QTreeWidgetItem* item = lvMessages_->currentItem()) {
        OpenPMWindow(session_, item->text(kFromColumn));
    }
}

void OfflineMessagesWindow::cmdClose_Click() {
    close();
}

OfflineMessagesWindow& ShowOfflineMessages(Session& session) {
    auto* open = session.findWindow<OfflineMessagesWindow>();
    return session.showSingle(open, [&session] { return new OfflineMessagesWindow(session); });
}

} // namespace velmora
