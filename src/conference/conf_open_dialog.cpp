#include "conference/conf_open_dialog.h"

#include "conference/conference_rooms.h"
#include "platform/prompter.h"
#include "protocol/names.h"
#include "session/session.h"
#include "session/user_name.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

namespace {}

ConfOpenDialog::ConfOpenDialog(Session& session, ConferenceRooms& rooms)
    : session_(session), rooms_(rooms), txtConfName_(new QLineEdit(this)),
      cmdOK_(new QPushButton(QStringLiteral("OK"), this)),
      cmdCancel_(new QPushButton(QStringLiteral("Cancel"), this)) {
    setObjectName(QStringLiteral("frmConfOpen"));
    setWindowTitle(QStringLiteral("Open Conference"));
    setAttribute(Qt::WA_DeleteOnClose);

    txtConfName_->setObjectName(QStringLiteral("txtConfName"));
    cmdOK_->setObjectName(QStringLiteral("cmdOK"));
    cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));
    cmdOK_->setDefault(true);

    auto* prompt = new QLabel(QStringLiteral("&Conference name:"), this);
    prompt->setBuddy(txtConfName_);
    auto* hint = new QLabel(
        QStringLiteral("A new room is created when no room of that name is open."), this);
    hint->setWordWrap(true);
    hint->setEnabled(false);

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdOK_, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel_, QDialogButtonBox::RejectRole);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(prompt);
    layout->addWidget(txtConfName_);
    layout->addWidget(hint);
    layout->addWidget(buttons);

    connect(cmdOK_, &QPushButton::clicked, this,
            [this] { session_.trap([this] { cmdOK_Click(); }); });
    connect(cmdCancel_, &QPushButton::clicked, this, &QDialog::close);
    resize(320, sizeHint().height());
}

void ConfOpenDialog::cmdOK_Click() {
    const QString name = txtConfName_->text();
    if (name.size() < static_cast<qsizetype>(protocol::kMinRoomNameLength)) {
        session_.prompter().beep();
        return;
    }
    if (!isValidUserName(name)) {
        session_.showMessage(
            QStringLiteral("Error: You have not entered a valid conference name!\r\n"
                           "Conference names can only contain Alpha Numberic Characters!\r\n"
                           "[With the exception of \"-\" and \"_\"]"),
            style::kOk, QStringLiteral("Input Error"), this);
        return;
    }
    close();
    rooms_.showRoom(name);
    rooms_.sendJoin(name);
}

} // namespace velmora
