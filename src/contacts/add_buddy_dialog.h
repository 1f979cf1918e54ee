// `frmAddBuddy`: asks for a user name and sends the add-buddy command once
// the name passes every check. The server answers with a fresh buddy list.
#pragma once

#include <QDialog>

class QLineEdit;
class QPushButton;

namespace velmora {

class Session;

class AddBuddyDialog : public QDialog {
    Q_OBJECT
public:
    // The most buddies a list may hold.
    static constexpr int kMaxBuddies = 75;

    AddBuddyDialog(Session& session, QWidget* owner);

    void cmdAddBuddy_Click();

private:
    // The message for the first check `name` fails, or empty when it passes.
    [[nodiscard]] QString refusal(const QString& name) const;
    void setControlsEnabled(bool enabled);

    Session& session_;
    QLineEdit* txtUName_;
    QPushButton* cmdAddBuddy_;
    QPushButton* cmdExit_;
};

// Adds `name` through the dialog's own checks and command, run unseen, so
// that its boxes are the only thing the user sees.
void addBuddyUnseen(Session& session, QWidget* owner, const QString& name);

} // namespace velmora
