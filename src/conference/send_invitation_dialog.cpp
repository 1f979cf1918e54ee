#include "conference/send_invitation_dialog.h"

#include "conference/conf_window.h"
#include "controls/buddy_list.h"
#include "platform/prompter.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "session/space_mark.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmora {

SendInvitationDialog::SendInvitationDialog(Session& session, ConfWindow& room)
    : session_(session), room_(&room), tvUsers_(new QTreeWidget(this)),
      txtSendMsg_(new QPlainTextEdit(this)),
      cmdInvite_(new QPushButton(QStringLiteral("&Invite"), this)),
      cmdCancel_(new QPushButton(QStringLiteral("Cancel"), this)) {
    setObjectName(QStringLiteral("frmInviteConference"));
    setWindowTitle(QStringLiteral("Invite to Conference \"") + room.confName() + QLatin1Char('"'));
    setAttribute(Qt::WA_DeleteOnClose);

    tvUsers_->setObjectName(QStringLiteral("tvUsers"));
    tvUsers_->setAccessibleName(QStringLiteral("Buddies to invite"));
    tvUsers_->setHeaderHidden(true);
    tvUsers_->setRootIsDecorated(false);
    txtSendMsg_->setObjectName(QStringLiteral("txtSendMsg"));
    txtSendMsg_->setAccessibleName(QStringLiteral("Invitation message"));
    txtSendMsg_->setFixedHeight(56);
    txtSendMsg_->setPlainText(QStringLiteral("Come and join us!"));
    cmdInvite_->setObjectName(QStringLiteral("cmdInvite"));
    cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));
    cmdInvite_->setDefault(true);

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdInvite_, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel_, QDialogButtonBox::RejectRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("Online buddies to invite:"), this));
    layout->addWidget(tvUsers_, 1);
    layout->addWidget(new QLabel(QStringLiteral("Message:"), this));
    layout->addWidget(txtSendMsg_);
    layout->addWidget(buttons);
    resize(300, 360);

    connect(cmdInvite_, &QPushButton::clicked, this,
            [this] { session_.trap([this] { cmdInvite_Click(); }); });
    connect(cmdCancel_, &QPushButton::clicked, this, &QDialog::close);
    session_.trap([this] { fillBuddies(); });
}

void SendInvitationDialog::fillBuddies() {
    QStringList inRoom;
    for (const QString& member : room_->members()) {
        inRoom.append(member.toUpper());
    }
    for (QTreeWidgetItem* node : session_.frame().buddies().allNodes()) {
        // Offline buddies carry "f" keys like the two group nodes.
        if (BuddyList::keyOf(node).startsWith(QLatin1Char('f')) ||
            inRoom.contains(node->text(0).toUpper())) {
            continue;
        }
        auto* item = new QTreeWidgetItem(tvUsers_, QStringList{node->text(0)});
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(0, Qt::Unchecked);
    }
}

void SendInvitationDialog::cmdInvite_Click() {
    if (!room_) {
        close();
        return;
    }
    if (room_->members().size() >= session_.values().intServerLimit) {
        session_.showMessage(
            QStringLiteral("Error: The conference already has the maximum users allowed!"),
            style::kOk, QString(), this);
        return;
    }
    QStringList invitees;
    for (int i = 0; i < tvUsers_->topLevelItemCount(); ++i) {
        const QTreeWidgetItem* item = tvUsers_->topLevelItem(i);
        if (item->checkState(0) == Qt::Checked) {
            invitees.append(item->text(0));
        }
    }
    if (invitees.isEmpty()) {
        session_.prompter().beep();
        return;
    }
    QString message = txtSendMsg_->toPlainText();
    session_.inviteToRoom(room_->confName(), invitees, spacesToMarks(message));
    close();
}

} // namespace velmora
