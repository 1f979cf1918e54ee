#include "shell/delete_account_window.h"

#include "platform/prompter.h"
#include "session/account_commands.h"
#include "session/session.h"
#include "session/user_name.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace velmora {

DeleteAccountWindow::DeleteAccountWindow(Session& session, QWidget* owner)
    : AccountForm(session, owner, true), txtPassword_(new QLineEdit(this)),
      cmdDelete_(new QPushButton(QStringLiteral("&Delete Account"), this)),
      cmdCancel_(new QPushButton(QStringLiteral("Cancel"), this)) {
    setObjectName(QLatin1String(kFormName));
    setWindowTitle(QStringLiteral("Delete Account"));
    buildForm();
    connect(cmdDelete_, &QPushButton::clicked, this,
            [this] { session_.trap([this] { cmdDelete_Click(); }); });
    connect(cmdCancel_, &QPushButton::clicked, this, &QWidget::close);
}

void DeleteAccountWindow::buildForm() {
    txtPassword_->setObjectName(QStringLiteral("txtPassword"));
    txtPassword_->setEchoMode(QLineEdit::Password);
    cmdDelete_->setObjectName(QStringLiteral("cmdDelete"));
    cmdDelete_->setAutoDefault(false);
    cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));
    cmdCancel_->setDefault(true);

    auto* icon = new QLabel(this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(40, 40));
    auto* question = new QLabel(
        QStringLiteral("Delete the account <b>%1</b> on %2?<br><br>Your buddy list and waiting "
                       "messages are deleted with it. This cannot be undone.")
            .arg(session_.values().userName.toHtmlEscaped(),
                 sessionServerName(session_).toHtmlEscaped()),
        this);
    question->setObjectName(QStringLiteral("lblConfirm"));
    question->setWordWrap(true);
    auto* top = new QHBoxLayout;
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addWidget(question, 1);
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Password:"), txtPassword_);
    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdDelete_, QDialogButtonBox::DestructiveRole);
    buttons->addButton(cmdCancel_, QDialogButtonBox::RejectRole);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addLayout(form);
    layout->addWidget(buttons);
    setMinimumWidth(380);
}

void DeleteAccountWindow::cmdDelete_Click() {
    const QString password = txtPassword_->text();
    if (password.isEmpty()) {
        session_.prompter().beep();
        return;
    }
    if (!isAcceptablePassword(password)) {
        session_.showMessage(accountOutcomeText(AccountOutcome::WrongPassword, true), style::kOk,
                             QStringLiteral("Input Error"), this);
        return;
    }
    sendAndWait([&] { session_.account().deleteAccount(password); });
}

} // namespace velmora
