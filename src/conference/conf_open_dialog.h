// `frmConfOpen`: asks for a room name, then opens the room window and joins
// the room (which the server creates when it does not exist yet).
#pragma once

#include <QDialog>

class QLineEdit;
class QPushButton;

namespace velmora {

class Session;
class ConferenceRooms;

class ConfOpenDialog : public QDialog {
    Q_OBJECT
public:
    ConfOpenDialog(Session& session, ConferenceRooms& rooms);

    [[nodiscard]] QLineEdit& txtConfName() { return *txtConfName_; }
    void cmdOK_Click();

private:
    Session& session_;
    ConferenceRooms& rooms_;
    QLineEdit* txtConfName_;
    QPushButton* cmdOK_;
    QPushButton* cmdCancel_;
};

} // namespace velmora
