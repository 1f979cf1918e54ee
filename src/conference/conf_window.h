// `frmConf`: the one conference room window of a session. It shows the
// room's members in `tvUsers` and its talk in the view, and sends the
// user's lines with the font chosen on `tbFontSettings`. The server echoes
// every line to every member, the sender included, so a line is drawn only
// when the server relays it back.
#pragma once

#include "messaging/message_window.h"
#include "session/offline_aware.h"

#include <QMainWindow>
#include <QString>
#include <QStringList>

class QAction;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;

namespace velmora {

class Session;
class FileChooser;
class FontToolbar;
class HtmlMessageView;

class ConfWindow : public QMainWindow, public MessageWindow, public OfflineAware {
    Q_OBJECT
public:
    static constexpr const char* kOwnColour = "#0000C0";
    static constexpr const char* kOthersColour = "#000000";
    static constexpr const char* kCaptionSuffix = " - [ Conference Room ]";

    explicit ConfWindow(Session& session);
    ~ConfWindow() override;

    [[nodiscard]] QString confName() const { return confName_; }
    // The members as `tvUsers` lists them.
    [[nodiscard]] QStringList members() const;
    // The style letters of the user's own lines, "B", "I", "U" in that order.
    [[nodiscard]] QString style() const { return style_; }

    [[nodiscard]] MessageView& messageView() override;
    [[nodiscard]] HtmlMessageView& brwMessage() { return *brwMessage_; }
    [[nodiscard]] QTreeWidget& tvUsers() { return *tvUsers_; }
    [[nodiscard]] QPlainTextEdit& txtSendMsg() { return *txtSendMsg_; }
    [[nodiscard]] FontToolbar& tbFontSettings() { return *tbFontSettings_; }

    // Makes this the window of room `name`; sending comes alive again.
    void enterRoom(const QString& name);

    void onDetails(bool full, const QStringList& members);
    void onMemberEntered(const QString& name);
    void onMemberLeft(const QString& name);
    void onMessage(const QString& sender, QString text, const QString& fontName,
                   const QString& fontSize, const QString& style);
    void onConnectionLost() override;

    // The send button's handler, also run by Enter in the input box.
    void cmdSend_Click();
    // Opens the invitation dialog for the online buddies not in the room.
    void inviteUsers();
    // Asks for a file and saves the room's talk there as plain text.
    void saveLog();
    void setFileChooser(FileChooser* chooser) { fileChooser_ = chooser; }

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildLayout();
    void buildMenus();
    void initView();
    void restorePosition();
    void savePosition();
    void updateStyle();
    void insertSmilie(const QString& code);
    void send();
    void writeNotice(const QString& html);
    void addMember(const QString& name);
    void removeMember(const QString& name);
    void playSound(bool enter);
    [[nodiscard]] QString selectedMember() const;
    void updateMemberActions();

    Session& session_;
    QString confName_;
    QString style_;
    HtmlMessageView* brwMessage_;
    QTreeWidget* tvUsers_;
    FontToolbar* tbFontSettings_;
    QPlainTextEdit* txtSendMsg_;
    QPushButton* cmdSend_;
    QAction* mnuSendPM_ = nullptr;
    QAction* mnuViewProfile_ = nullptr;
    FileChooser* fileChooser_ = nullptr;
    // Blocks of the view before the first line of talk (the banner).
    int headerBlocks_ = 0;
};

} // namespace velmora
