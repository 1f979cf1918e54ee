// `frmRegistration`: creates an account on an IM server before logging in.
// It connects the client's one socket to the chosen server, sends cmdRA and
// shows the server's +RU answer; the connection stays open afterwards and
// the next login reopens it. One per client.
#pragma once

#include <QDialog>
#include <QString>

class QLineEdit;
class QPushButton;

namespace velmora {

class Client;

class RegistrationWindow : public QDialog {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmRegistration";
    static constexpr quint16 kDefaultPort = 6668;

    explicit RegistrationWindow(Client& client);

    // The sign-up button's handler.
    void cmdSignUp_Click();
    // Fields 1 and 2 of a +RU record: the outcome and the server's web site.
    void onRegistrationReply(const QString& outcome, const QString& webSite);

private:
    void buildForm();
    void setControlsEnabled(bool enabled);
    // The first rule the entered details break, or empty when they pass.
    [[nodiscard]] QString refusal() const;
    // Points the socket at the entered address and waits until it is
    // connected or has failed.
    [[nodiscard]] bool connectToServer();

    Client& client_;
    QLineEdit* txtHost_;
    QLineEdit* txtUName_;
    QLineEdit* txtPWord_;
    QLineEdit* txtPWordConfirm_;
    QPushButton* cmdSignUp_;
    QPushButton* cmdClose_;
    bool connecting_ = false;
};

// The client's sign-up window, or null when none is open.
[[nodiscard]] RegistrationWindow* findRegistrationWindow(Client& client);
// The client's sign-up window, created (not shown) when none is open.
[[nodiscard]] RegistrationWindow& registrationWindow(Client& client);
// Shows the sign-up window, bringing an open one forward.
void showRegistrationWindow(Client& client);

} // namespace velmora
