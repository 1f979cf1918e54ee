// `frmInvConf`: one invitation into a room, a new dialog for each. Yes joins
// the room, No lets the invitation go without a word to anyone.
#pragma once

#include <QDialog>
#include <QString>

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace velmora {

class Session;
class ConferenceRooms;

class ReceivedInvitationDialog : public QDialog {
    Q_OBJECT
public:
    ReceivedInvitationDialog(Session& session, ConferenceRooms& rooms, const QString& fromWho,
                             const QString& confName, const QString& message);

    [[nodiscard]] QString confName() const { return confName_; }
    [[nodiscard]] QString fromWho() const { return fromWho_; }
    [[nodiscard]] QString invitationText() const;
    [[nodiscard]] QPlainTextEdit& txtMsg() { return *txtMsg_; }

    void cmdYes_Click();
    void cmdNo_Click();

private:
    Session& session_;
    ConferenceRooms& rooms_;
    QString confName_;
    QString fromWho_;
    QLabel* lblInvitation_;
    QPlainTextEdit* txtMsg_;
    QPushButton* cmdYes_;
    QPushButton* cmdNo_;
};

} // namespace velmora
