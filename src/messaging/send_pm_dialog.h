// `frmSendPM`: a small modal chooser that opens the message window for a
// buddy picked from the list or for a name typed in.
#pragma once

#include <QDialog>

class QLineEdit;
class QPushButton;
class QRadioButton;
class QTreeWidget;

namespace velmora {

class Session;

class SendPMDialog : public QDialog {
    Q_OBJECT
public:
    SendPMDialog(Session& session, QWidget* parent = nullptr);

    // The two `optUser` buttons: 0 picks from the list, 1 takes a typed name.
    [[nodiscard]] QRadioButton& optUser(int index) { return *optUser_[index == 0 ? 0 : 1]; }
    [[nodiscard]] QTreeWidget& tvUsers() { return *tvUsers_; }
    [[nodiscard]] QLineEdit& txtUserName() { return *txtUserName_; }
    [[nodiscard]] QPushButton& cmdOpen() { return *cmdOpen_; }
    [[nodiscard]] QPushButton& cmdCancel() { return *cmdCancel_; }

private:
    void fillUsers();
    void optUserClick(int index);
    void updateOpen();
    void cmdOpenClick();
    [[nodiscard]] QString chosenName() const;

    Session& session_;
    QRadioButton* optUser_[2];
    QTreeWidget* tvUsers_;
    QLineEdit* txtUserName_;
    QPushButton* cmdOpen_;
    QPushButton* cmdCancel_;
};

} // namespace velmora
