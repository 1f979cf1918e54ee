#include "messaging/send_pm_dialog.h"

#include "controls/buddy_list.h"
#include "messaging/pm_window.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "session/user_name.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmora {

namespace {

// The length every window asks of a typed user name.

constexpr const char* kOnlineFolder = "f1";

bool isFolderKey(const QString& key) {
    return key.startsWith(QLatin1Char('f'));
}

QTreeWidgetItem* copyNode(const QTreeWidgetItem* node) {
    auto* copy = new QTreeWidgetItem(QStringList{node->text(0)});
    copy->setData(0, BuddyList::kKeyRole, node->data(0, BuddyList::kKeyRole));
    copy->setIcon(0, node->icon(0));
    return copy;
}

} // namespace

SendPMDialog::SendPMDialog(Session& session, QWidget* parent)
    : QDialog(parent),
      session_(session), optUser_{new QRadioButton(tr("Choose from your &buddy list:")),
                                  new QRadioButton(tr("&Type a user name:"))},
      tvUsers_(new QTreeWidget), txtUserName_(new QLineEdit),
      cmdOpen_(new QPushButton(tr("&Open"))), cmdCancel_(new QPushButton(tr("Cancel"))) {
    setObjectName(QStringLiteral("frmSendPM"));
    setWindowTitle(tr("Send an Instant Message"));
    setModal(true);
    resize(280, 360);

    for (int i = 0; i < 2; ++i) {
        optUser_[i]->setObjectName(QStringLiteral("optUser"));
        optUser_[i]->setProperty("index", i);
        connect(optUser_[i], &QRadioButton::clicked, this,
                [this, i] { session_.trap([this, i] { optUserClick(i); }); });
    }
    tvUsers_->setObjectName(QStringLiteral("tvUsers"));
    tvUsers_->setAccessibleName(QStringLiteral("Online buddies"));
    tvUsers_->setHeaderHidden(true);
    tvUsers_->setIndentation(12);
    txtUserName_->setObjectName(QStringLiteral("txtUserName"));
    txtUserName_->setAccessibleName(QStringLiteral("User name"));
    txtUserName_->setMaxLength(64);
    cmdOpen_->setObjectName(QStringLiteral("cmdOpen"));
    cmdOpen_->setDefault(true);
    cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdOpen_);
    buttons->addWidget(cmdCancel_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(optUser_[0]);
    layout->addWidget(tvUsers_, 1);
    layout->addWidget(optUser_[1]);
    layout->addWidget(txtUserName_);
    layout->addLayout(buttons);

    connect(tvUsers_, &QTreeWidget::currentItemChanged, this,
            [this] { session_.trap([this] { updateOpen(); }); });
    connect(tvUsers_, &QTreeWidget::itemDoubleClicked, this, [this] {
        if (cmdOpen_->isEnabled()) {
            cmdOpen_->click();
        }
    });
    connect(txtUserName_, &QLineEdit::textChanged, this,
            [this] { session_.trap([this] { updateOpen(); }); });
    connect(cmdOpen_, &QPushButton::clicked, this,
            [this] { session_.trap([this] { cmdOpenClick(); }); });
    connect(cmdCancel_, &QPushButton::clicked, this, &QDialog::reject);

    fillUsers();
    optUser_[0]->setChecked(true);
    optUserClick(0);
}

void SendPMDialog::fillUsers() {
    // Every key beginning with "f" counts as a folder here, and offline
    // buddies carry "f" keys too: only the online group and its buddies can
    // be picked. A message for someone offline is typed by name.
    QTreeWidgetItem* online = nullptr;
    for (QTreeWidgetItem* node : session_.frame().buddies().allNodes()) {
        const QString key = BuddyList::keyOf(node);
        if (key == QLatin1StringView(kOnlineFolder)) {
            online = copyNode(node);
            tvUsers_->addTopLevelItem(online);
        } else if (online && !key.isEmpty() && !isFolderKey(key)) {
            online->addChild(copyNode(node));
        }
    }
    tvUsers_->expandAll();
}

void SendPMDialog::optUserClick(int index) {
    const bool typed = index == 1;
    txtUserName_->setEnabled(typed);
    if (typed) {
        txtUserName_->setFocus();
    }
    updateOpen();
}

void SendPMDialog::updateOpen() {
    cmdOpen_->setEnabled(!chosenName().isEmpty());
}

QString SendPMDialog::chosenName() const {
    if (optUser_[1]->isChecked()) {
        const QString name = txtUserName_->text();
        return isLongEnoughName(name) && isValidUserName(name) ? name : QString();
    }
    const QTreeWidgetItem* node = tvUsers_->currentItem();
    if (!node || isFolderKey(node->data(0, BuddyList::kKeyRole).toString())) {
        return QString();
    }
    return node->text(0);
}

void SendPMDialog::cmdOpenClick() {
    const QString name = chosenName();
    if (name.isEmpty()) {
        return;
    }
    OpenPMWindow(session_, name);
    accept();
}

} // namespace velmora
