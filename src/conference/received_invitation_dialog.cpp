#include "conference/received_invitation_dialog.h"

#include "conference/conference_rooms.h"
#include "session/session.h"
#include "session/space_mark.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

ReceivedInvitationDialog::ReceivedInvitationDialog(Session& session, ConferenceRooms& rooms,
                                                   const QString& fromWho, const QString& confName,
                                                   const QString& message)
    : session_(session), rooms_(rooms), confName_(confName), fromWho_(fromWho),
      lblInvitation_(new QLabel(this)), txtMsg_(new QPlainTextEdit(this)),
      cmdYes_(new QPushButton(QStringLiteral("&Yes"), this)),
      cmdNo_(new QPushButton(QStringLiteral("&No"), this)) {
    setObjectName(QStringLiteral("frmInvConf"));
    setWindowTitle(QStringLiteral("Conference Invitation - [") + fromWho + QLatin1Char(']'));
    setAttribute(Qt::WA_DeleteOnClose);

    lblInvitation_->setObjectName(QStringLiteral("lblInvitation"));
    lblInvitation_->setText(fromWho + QStringLiteral(" has invited you to the conference \"") +
                            confName + QStringLiteral("\"."));
    lblInvitation_->setWordWrap(true);
    lblInvitation_->setTextFormat(Qt::PlainText);
    txtMsg_->setObjectName(QStringLiteral("txtMsg"));
    txtMsg_->setAccessibleName(QStringLiteral("Invitation message"));
    txtMsg_->setReadOnly(true);
    txtMsg_->setPlainText(marksToSpaces(message));
    cmdYes_->setObjectName(QStringLiteral("cmdYes"));
    cmdNo_->setObjectName(QStringLiteral("cmdNo"));

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdYes_, QDialogButtonBox::YesRole);
    buttons->addButton(cmdNo_, QDialogButtonBox::NoRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblInvitation_);
    layout->addWidget(txtMsg_, 1);
    layout->addWidget(new QLabel(QStringLiteral("Do you want to join?"), this));
    layout->addWidget(buttons);
    resize(340, 220);

    connect(cmdYes_, &QPushButton::clicked, this,
            [this] { session_.trap([this] { cmdYes_Click(); }); });
    connect(cmdNo_, &QPushButton::clicked, this, [this] { cmdNo_Click(); });
}

QString ReceivedInvitationDialog::invitationText() const {
    return lblInvitation_->text();
}

void ReceivedInvitationDialog::cmdYes_Click() {
    rooms_.sendJoin(confName_);
    rooms_.showRoom(confName_);
    close();
}

void ReceivedInvitationDialog::cmdNo_Click() {
    close();
}

} // namespace velmora
