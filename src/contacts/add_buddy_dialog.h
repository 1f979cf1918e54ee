// `frmAddBuddy`: asks for a user name and sends cmdAB once the name passes
// every check. The server answers with a fresh buddy list.
#pragma once

#include <QDialog>

class QLineEdit;
class QPushButton;

namespace velmora {

class Client;

class AddBuddyDialog : public QDialog {
    Q_OBJECT
public:
    // The most buddies a list may hold.
    static constexpr int kMaxBuddies = 75;

    AddBuddyDialog(Client& client, QWidget* owner);

    void cmdAddBuddy_Click();

private:
    // The message for the first check `name` fails, or empty when it passes.
    [[nodiscard]] QString refusal(const QString& name) const;
    void setControlsEnabled(bool enabled);

    Client& client_;
    QLineEdit* txtUName_;
    QPushButton* cmdAddBuddy_;
    QPushButton* cmdExit_;
};

// Adds `name` through the dialog's own checks and command, run unseen, so
// that its boxes are the only thing the user sees.
void addBuddyUnseen(Client& client, QWidget* owner, const QString& name);

} // namespace velmora
