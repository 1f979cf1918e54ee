// `frmLogin`: user name, password and server address; opens `ConnSock`,
// sends the login and handles the answer. One per session, created when it
// is needed (also by an answer that arrives while it is closed) and deleted
// when it closes, so each showing reads the saved details afresh.
#pragma once

#include <QDialog>
#include <QString>

class QCheckBox;
class QComboBox;
class QHBoxLayout;
class QLineEdit;
class QPushButton;
class QTimer;

namespace velmora {

class Session;
enum class LoginResult;

class LoginWindow : public QDialog {
    Q_OBJECT
public:
    // Time allowed for the server's answer to the login.
    static constexpr int kAnswerTimeoutMs = 60000;

    LoginWindow(Session& session, QWidget* owner);

    // Log in with what the controls hold (the cmdLogin click).
    void cmdLogin_Click();
    // The server's answer to the login.
    void onLoginReply(LoginResult result);
    void setLoginControlsEnabled(bool enabled);
    // Refills `cboHost` from the server list, keeping the typed address.
    void loadServers();

    [[nodiscard]] bool awaitingLogin() const { return awaitingLogin_; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void buildForm();
    void loadDetails();
    void openSignUpPage();
    // A login that did not succeed: offline state, controls back, `text`
    // shown (no box when it is empty).
    void fail(const QString& text);
    void tmrShow_Timer();
    void onConnectionLost();

    Session& session_;
    QComboBox* cboHost_;
    QLineEdit* txtUName_;
    QLineEdit* txtPWord_;
    QCheckBox* chkEncrypted_;
    QCheckBox* chkSaveDetails_;
    QCheckBox* chkAutoLogin_;
    QPushButton* cmdLogin_;
    QPushButton* cmdRegister_;
    QHBoxLayout* buttonRow_;
    QTimer* tmrShow_;
    bool awaitingLogin_ = false;
    bool connecting_ = false;
};

// The message of a connection that could not be made or was not answered.
[[nodiscard]] QString connectionProblemText();

} // namespace velmora
