// `frmInviteConference`: invites online buddies into the room. Offline
// buddies cannot be invited, nor those already in the room.
#pragma once

#include <QDialog>
#include <QPointer>

class QPlainTextEdit;
class QPushButton;
class QTreeWidget;

namespace velmora {

class Session;
class ConfWindow;

class SendInvitationDialog : public QDialog {
    Q_OBJECT
public:
    SendInvitationDialog(Session& session, ConfWindow& room);

    [[nodiscard]] QTreeWidget& tvUsers() { return *tvUsers_; }
    [[nodiscard]] QPlainTextEdit& txtSendMsg() { return *txtSendMsg_; }
    void cmdInvite_Click();

private:
    void fillBuddies();

    Session& session_;
    QPointer<ConfWindow> room_;
    QTreeWidget* tvUsers_;
    QPlainTextEdit* txtSendMsg_;
    QPushButton* cmdInvite_;
    QPushButton* cmdCancel_;
};

} // namespace velmora
