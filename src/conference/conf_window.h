// `frmConf`: the one conference room window of a session. It shows the
// room's members in `tvUsers` and its talk in the view, and sends the
// user's lines with the font chosen on `tbFontSettings`. The server echoes
// every line to every member, the sender included, so a line is drawn only
// when the server relays it back.
#pragma once

#include "messaging/chat_window.h"

#include <QString>
#include <QStringList>

class QAction;
class QTreeWidget;

namespace velmora {

class ConfWindow : public ChatWindow {
    Q_OBJECT
public:
    static constexpr const char* kCaptionSuffix = " - [ Conference Room ]";

    explicit ConfWindow(Session& session);
    ~ConfWindow() override;

    [[nodiscard]] QString confName() const { return confName_; }
    // The members as `tvUsers` lists them.
    [[nodiscard]] QStringList members() const;
    [[nodiscard]] QTreeWidget& tvUsers() { return *tvUsers_; }

    // Makes this the window of room `name`; sending comes alive again.
    void enterRoom(const QString& name);

    void onDetails(bool full, const QStringList& members);
    void onMemberEntered(const QString& name);
    void onMemberLeft(const QString& name);
    void onMessage(const QString& sender, QString text, const QString& fontName,
                   const QString& fontSize, const QString& style);
    void onConnectionLost() override;
    void onConnectionRestored() override;

    void cmdSend_Click() override;
    // Opens the invitation dialog for the online buddies not in the room.
    void inviteUsers();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildLayout();
    void buildMenus();
    void send();
    void writeNotice(const QString& html);
    void addMember(const QString& name);
    void removeMember(const QString& name);
    void playSound(bool enter);
    [[nodiscard]] QString selectedMember() const;
    void updateMemberActions();

    QString confName_;
    QString lostRoom_; // the room a dropped connection left
    QTreeWidget* tvUsers_;
    QAction* mnuSendPM_ = nullptr;
    QAction* mnuViewProfile_ = nullptr;
    QAction* mnuSendFile_ = nullptr;
};

} // namespace velmora
