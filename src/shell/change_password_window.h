// `frmChangePassword`: the current password once, the new one twice. The
// new one follows the sign-up rules, checked before anything is sent.
#pragma once

#include "shell/account_form.h"

class QPushButton;

namespace velmora {

class ChangePasswordWindow : public AccountForm {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmChangePassword";

    ChangePasswordWindow(Session& session, QWidget* owner);

    void cmdOK_Click();
    // The server changed the password.
    void onChanged();

protected:
    [[nodiscard]] QLineEdit& currentPasswordField() override { return *txtOldPassword_; }

private:
    void buildForm();

    QLineEdit* txtOldPassword_;
    QLineEdit* txtNewPassword_;
    QLineEdit* txtConfirmPassword_;
    QPushButton* cmdOK_;
    QPushButton* cmdCancel_;
};

} // namespace velmora
