#include "shell/account_form.h"

#include "controls/form_controls.h"
#include "platform/error_trap.h"
#include "platform/prompter.h"
#include "session/account_commands.h"
#include "session/connection.h"
#include "session/session.h"

#include <QLineEdit>
#include <QTimer>

namespace velmora {

QString accountOutcomeText(AccountOutcome outcome, bool deletion) {
    switch (outcome) {
    case AccountOutcome::WrongPassword:
        return QStringLiteral("Error: The current password you entered is not correct!");
    case AccountOutcome::Invalid:
        return QStringLiteral("Error: The server refused the new password!\r\nPasswords must be "
                              "at least 5 characters long and cannot contain a \":\" character.");
    case AccountOutcome::Refused:
        return deletion ? QStringLiteral("Error: This server does not let users delete their "
                                         "accounts themselves!\r\nPlease ask the server's "
                                         "operator to delete it.")
                        : QStringLiteral("Error: This server does not let users change their "
                                         "passwords themselves!\r\nPlease ask the server's "
                                         "operator to change it.");
    case AccountOutcome::Limited:
        return QStringLiteral("Error: Too many wrong passwords have come from your address "
                              "lately!\r\nPlease try again later.");
    case AccountOutcome::Done:
    case AccountOutcome::Unknown:
        break;
    }
    return QStringLiteral("Error: The server response was invalid!\r\n"
                          "You may need to upgrade your I.M. Client!");
}

QString sessionServerName(Session& session) {
    return session.connection().RemoteHost();
}

QString AccountForm::noAnswerText() {
    return QStringLiteral("The server did not answer; it may not offer this.");
}

AccountForm::AccountForm(Session& session, QWidget* owner, bool deletion)
    : QDialog(owner), session_(session), tmrAnswer_(new QTimer(this)), deletion_(deletion) {
    setAttribute(Qt::WA_DeleteOnClose);
    tmrAnswer_->setObjectName(QStringLiteral("tmrAnswer"));
    tmrAnswer_->setSingleShot(true);
    connect(tmrAnswer_, &QTimer::timeout, this, [this] { session_.trap([this] { onTimeout(); }); });
}

bool AccountForm::awaitingAnswer() const {
    return tmrAnswer_->isActive();
}

void AccountForm::sendAndWait(const std::function<void()>& send) {
    setFormControlsEnabled(*this, false);
    undoOnThrow([this] { setFormControlsEnabled(*this, true); }, send);
    tmrAnswer_->start(answerTimeoutMs_);
}

void AccountForm::stopWaiting() {
    tmrAnswer_->stop();
    setFormControlsEnabled(*this, true);
}

void AccountForm::onFailure(AccountOutcome outcome) {
    stopWaiting();
    session_.showMessage(accountOutcomeText(outcome, deletion_), style::kOk, QString(), this);
    if (outcome == AccountOutcome::Refused) {
        // Trying again would only meet the same answer.
        close();
        return;
    }
    if (outcome == AccountOutcome::WrongPassword) {
        QLineEdit& field = currentPasswordField();
        field.setFocus();
        field.selectAll();
    }
}

void AccountForm::onTimeout() {
    stopWaiting();
    session_.showMessage(noAnswerText(), style::kOk, QString(), this);
}

void AccountForm::onConnectionLost() {
    tmrAnswer_->stop();
    close();
}

} // namespace velmora
