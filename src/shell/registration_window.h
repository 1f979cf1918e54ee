// `frmRegistration`: creates an account on an IM server before logging in.
// It connects the session's one socket to the chosen server, sends the
// sign-up and shows the server's answer; the connection stays open
// afterwards and the next login reopens it. One per session.
#pragma once

#include <QDialog>
#include <QString>

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace velmora {

class Session;
enum class SignUpResult;

class RegistrationWindow : public QDialog {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmRegistration";

    explicit RegistrationWindow(Session& session);

    // The sign-up button's handler.
    void cmdSignUp_Click();
    // The server's answer to the sign-up, and its web site.
    void onRegistrationReply(SignUpResult result, const QString& webSite);

private:
    void buildForm();
    void setControlsEnabled(bool enabled);
    // The first rule the entered details break, or empty when they pass.
    [[nodiscard]] QString refusal() const;
    // Points the socket at the entered address and waits until it is
    // connected or has failed.
    [[nodiscard]] bool connectToServer();

    Session& session_;
    QLineEdit* txtHost_;
    QLineEdit* txtUName_;
    QLineEdit* txtPWord_;
    QLineEdit* txtPWordConfirm_;
    QCheckBox* chkEncrypted_;
    QPushButton* cmdSignUp_;
    QPushButton* cmdClose_;
    bool connecting_ = false;
};

// The session's sign-up window, or null when none is open.
[[nodiscard]] RegistrationWindow* findRegistrationWindow(Session& session);
// The session's sign-up window, created (not shown) when none is open.
[[nodiscard]] RegistrationWindow& registrationWindow(Session& session);
// Shows the sign-up window, bringing an open one forward.
void showRegistrationWindow(Session& session);

} // namespace velmora
