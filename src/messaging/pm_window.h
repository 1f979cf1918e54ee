// `frmPM`: the conversation with one other user. The caption, recipient +
// " - Instant Message", is the window's identity: there is at most one per
// user, found by caption ignoring case.
#pragma once

#include "messaging/message_window.h"
#include "session/offline_aware.h"

#include <QMainWindow>
#include <QString>

class QPlainTextEdit;
class QPushButton;
class QStatusBar;

namespace velmora {

class Session;
class FileChooser;
class FontToolbar;
class HtmlMessageView;

class PMWindow : public QMainWindow, public MessageWindow, public OfflineAware {
    Q_OBJECT
public:
    static constexpr const char* kCaptionSuffix = " - Instant Message";
    // The server's own pseudo-user: its notices cannot be answered.
    static constexpr const char* kServerUser = "IM Server";
    static constexpr const char* kOwnColour = "#0000C0";
    static constexpr const char* kReceivedColour = "#000000";
    // The name in front of the "FormPos" keys: every message window shares
    // one saved position and size.
    static constexpr const char* kFormName = "frmPM";

    PMWindow(Session& session, const QString& recipient);
    ~PMWindow() override;

    [[nodiscard]] QString recipient() const { return recipient_; }
    // The style letters of the user's own messages, "B", "I", "U" in that order.
    [[nodiscard]] QString style() const { return style_; }

    [[nodiscard]] MessageView& messageView() override;
    void onConnectionLost() override;

    [[nodiscard]] HtmlMessageView& brwMessage() { return *brwMessage_; }
    [[nodiscard]] FontToolbar& tbFontSettings() { return *tbFontSettings_; }
    [[nodiscard]] QPlainTextEdit& txtSendMsg() { return *txtSendMsg_; }
    [[nodiscard]] QStatusBar& sbStatus() { return *sbStatus_; }

    // The send button's handler, also run by Enter in the input box.
    void cmdSend_Click();
    // Asks for a file and saves the conversation there as plain text.
    void saveLog();
    // Selects the next occurrence of `text` in the conversation, starting
    // over at the top once; false when there is none.
    bool findInConversation(const QString& text);
    // The conversation as the saved log holds it.
    [[nodiscard]] QString conversationLog() const;

    // The chooser the save dialog asks; by default the desktop's.
    void setFileChooser(FileChooser* chooser) { fileChooser_ = chooser; }

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    friend void InitMessageView(Session& session, PMWindow& window);

    void buildMenus();
    void restorePosition();
    void savePosition();
    void updateStyle();
    void applyInputFont();
    void insertSmilie(const QString& code);
    void addRecipientAsBuddy();
    void askAndFind();
    void send();

    Session& session_;
    QString recipient_;
    QString style_;
    HtmlMessageView* brwMessage_;
    FontToolbar* tbFontSettings_;
    QPlainTextEdit* txtSendMsg_;
    QPushButton* cmdSend_;
    QStatusBar* sbStatus_;
    FileChooser* fileChooser_ = nullptr;
    // Blocks of the view before the first chat line (the banner).
    int headerBlocks_ = 0;
};

// Finds the window for `name` (caption compared ignoring case) and brings it
// forward, or opens a new one. A window for "IM Server" cannot be typed into.
PMWindow* OpenPMWindow(Session& session, const QString& name);

// Prepares a message window's view (the header and the warning banner) and
// sets its font toolbar from the default message font of the settings.
void InitMessageView(Session& session, PMWindow& window);

// A private message from the server: it goes into the sender's window,
// opened when needed, with the status "Last IM Received: " and the time, the window
// brought forward and the receive sound played as the settings ask.
void ReceivePM(Session& session, const QString& sender, const QString& text,
               const QString& fontName, const QString& fontSize, const QString& style);

} // namespace velmora
