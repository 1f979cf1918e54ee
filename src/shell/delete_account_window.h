// `frmDeleteAccount`: asks once more, naming the account and its server,
// and takes the password. Return does not delete: Cancel is the default.
#pragma once

#include "shell/account_form.h"

class QPushButton;

namespace velmora {

class DeleteAccountWindow : public AccountForm {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmDeleteAccount";

    DeleteAccountWindow(Session& session, QWidget* owner);

    void cmdDelete_Click();

protected:
    [[nodiscard]] QLineEdit& currentPasswordField() override { return *txtPassword_; }

private:
    void buildForm();

    QLineEdit* txtPassword_;
    QPushButton* cmdDelete_;
    QPushButton* cmdCancel_;
};

} // namespace velmora
