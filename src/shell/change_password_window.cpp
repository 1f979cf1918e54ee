#include "shell/change_password_window.h"

#include "platform/prompter.h"
#include "session/account_commands.h"
#include "session/session.h"
#include "session/user_name.h"
#include "shell/password_rules.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

ChangePasswordWindow::ChangePasswordWindow(Session& session, QWidget* owner)
    : AccountForm(session, owner, false), txtOldPassword_(new QLineEdit(this)),
      txtNewPassword_(new QLineEdit(this)), txtConfirmPassword_(new QLineEdit(this)),
      cmdOK_(new QPushButton(QStringLiteral("OK"), this)),
      cmdCancel_(new QPushButton(QStringLiteral("Cancel"), this)) {
    setObjectName(QLatin1String(kFormName));
    setWindowTitle(QStringLiteral("Change Password"));
    buildForm();
    connect(cmdOK_, &QPushButton::clicked, this,
            [this] { session_.trap([this] { cmdOK_Click(); }); });
    connect(cmdCancel_, &QPushButton::clicked, this, &QWidget::close);
}

void ChangePasswordWindow::buildForm() {
    const std::pair<QLineEdit*, const char*> fields[] = {
        {txtOldPassword_, "txtOldPassword"},
        {txtNewPassword_, "txtNewPassword"},
        {txtConfirmPassword_, "txtConfirmPassword"}};
    for (const auto& [field, name] : fields) {
        field->setObjectName(QLatin1String(name));
        field->setEchoMode(QLineEdit::Password);
    }
    cmdOK_->setObjectName(QStringLiteral("cmdOK"));
    cmdOK_->setDefault(true);
    cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));

    auto* intro = new QLabel(QStringLiteral("Change the password of <b>%1</b> on %2.")
                                 .arg(session_.values().userName.toHtmlEscaped(),
                                      sessionServerName(session_).toHtmlEscaped()),
                             this);
    intro->setObjectName(QStringLiteral("lblAccount"));
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Current password:"), txtOldPassword_);
    form->addRow(QStringLiteral("&New password:"), txtNewPassword_);
    form->addRow(QStringLiteral("C&onfirm new password:"), txtConfirmPassword_);
    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(cmdOK_, QDialogButtonBox::AcceptRole);
    buttons->addButton(cmdCancel_, QDialogButtonBox::RejectRole);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(intro);
    layout->addLayout(form);
    layout->addWidget(buttons);
    setMinimumWidth(340);
}

void ChangePasswordWindow::cmdOK_Click() {
    const QString current = txtOldPassword_->text();
    const QString next = txtNewPassword_->text();
    if (current.isEmpty() || next.isEmpty()) {
        session_.prompter().beep();
        return;
    }
    // A colon would cut the command's fields apart; no account has one.
    QString refused = isAcceptablePassword(current)
                          ? newPasswordRefusal(next, txtConfirmPassword_->text())
                          : accountOutcomeText(AccountOutcome::WrongPassword, false);
    if (refused.isEmpty() && next == current) {
        refused = QStringLiteral("Error: The new password is the same as the current one!");
    }
    if (!refused.isEmpty()) {
        session_.showMessage(refused, style::kOk, QStringLiteral("Input Error"), this);
        return;
    }
    sendAndWait([&] { session_.account().changePassword(current, next); });
}

void ChangePasswordWindow::onChanged() {
    stopWaiting();
    session_.showMessage(QStringLiteral("Your password has been changed."), style::kOk, QString(),
                         this);
    close();
}

} // namespace velmora
