// `frmInvConf`: one invitation into a room, a new dialog for each. Yes joins
// the room, No lets the invitation go without a word to anyone.
#pragma once

#include <QDialog>
#include <QString>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace velmora {

class Client;
class ConferenceRooms;

class InvitationDialog : public QDialog {
    Q_OBJECT
public:
    InvitationDialog(Client& client, ConferenceRooms& rooms, const QString& fromWho,
                     const QString& confName, const QString& message);

    [[nodiscard]] QString strConfName() const { return strConfName_; }
    [[nodiscard]] QString strFromWho() const { return strFromWho_; }
    [[nodiscard]] QString invitationText() const;
    [[nodiscard]] QPlainTextEdit& txtMsg() { return *txtMsg_; }

    void cmdYes_Click();
    void cmdNo_Click();

private:
    Client& client_;
    ConferenceRooms& rooms_;
    QString strConfName_;
    QString strFromWho_;
    QLabel* lblInvitation_;
    QPlainTextEdit* txtMsg_;
    QPushButton* cmdYes_;
    QPushButton* cmdNo_;
};

} // namespace velmora
