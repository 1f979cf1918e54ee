// What the change-password and delete-account windows share: a command that
// carries the current password and waits for the server's one answer, with
// the form switched off meanwhile, each answer's message, and a time limit
// for servers that do not know the command. The windows close with the
// session: their commands mean nothing without it.
#pragma once

#include "session/offline_aware.h"

#include <QDialog>
#include <QString>

#include <functional>

class QLineEdit;
class QTimer;

namespace velmora {

class Session;
enum class AccountOutcome;

// What the user reads for an answer other than success. `deletion` tells
// which command it answers.
[[nodiscard]] QString accountOutcomeText(AccountOutcome outcome, bool deletion);
// The host of the session's server, as the windows name it.
[[nodiscard]] QString sessionServerName(Session& session);

class AccountForm : public QDialog, public OfflineAware {
    Q_OBJECT
public:
    // A server that does not know the command ignores it.
    static constexpr int kAnswerTimeoutMs = 20000;
    static QString noAnswerText();

    // How long to wait for the next answer.
    void setAnswerTimeout(int ms) { answerTimeoutMs_ = ms; }
    [[nodiscard]] bool awaitingAnswer() const;
    // An answer other than success: its message, and the form back for
    // another try, unless the server lets no user do this.
    void onFailure(AccountOutcome outcome);
    void onConnectionLost() override;

protected:
    AccountForm(Session& session, QWidget* owner, bool deletion);

    // Runs `send` under the trap with the form off and the clock running.
    void sendAndWait(const std::function<void()>& send);
    // Stops waiting and turns the form back on.
    void stopWaiting();
    // The field of the current password, chosen again after a wrong one.
    [[nodiscard]] virtual QLineEdit& currentPasswordField() = 0;

    Session& session_;

private:
    void onTimeout();

    QTimer* tmrAnswer_;
    int answerTimeoutMs_ = kAnswerTimeoutMs;
    bool deletion_;
};

} // namespace velmora
