// What the message window and the conference room have in common: the
// conversation view `brwMessage`, the font toolbar `tbFontSettings`, the
// input box `txtSendMsg` where Enter sends and a smilie lands at the caret,
// the send button `cmdSend`, the saved position under the form's name, the
// saved log and the colours of the names. Each window lays these out, adds
// its own menus and says what sending means.
#pragma once

#include "messaging/message_formatter.h"
#include "messaging/message_window.h"
#include "session/offline_aware.h"

#include <QKeySequence>
#include <QMainWindow>
#include <QString>

#include <functional>

class QMenu;
class QPlainTextEdit;
class QPushButton;

namespace velmora {

class Session;
class FileChooser;
class FontToolbar;
class HtmlMessageView;

// The smilie setting as every conversation view draws with it: the flag the
// main window loaded into the session, not a fresh read of the file.
[[nodiscard]] FormatterOptions formatterOptions(const Session& session);

class ChatWindow : public QMainWindow, public MessageWindow, public OfflineAware {
    Q_OBJECT
public:
    static constexpr const char* kOwnColour = "#0000C0";
    static constexpr const char* kOthersColour = "#000000";

    struct Form {
        // The objectName, and the name in front of the "FormPos" keys.
        const char* name;
        // The size before a saved one is applied.
        QSize size;
        // The title of the save-log dialog.
        const char* logTitle;
    };

    ~ChatWindow() override;

    // The style letters of the user's own lines, "B", "I", "U" in that order.
    [[nodiscard]] QString style() const { return style_; }
    [[nodiscard]] MessageView& messageView() override;
    [[nodiscard]] HtmlMessageView& brwMessage() { return *brwMessage_; }
    [[nodiscard]] FontToolbar& tbFontSettings() { return *tbFontSettings_; }
    [[nodiscard]] QPlainTextEdit& txtSendMsg() { return *txtSendMsg_; }

    // The send button's handler, also run by Enter in the input box.
    virtual void cmdSend_Click() = 0;
    // Asks for a file and saves the conversation there as plain text.
    void saveLog();
    // Selects the next occurrence of `text` in the conversation, starting
    // over at the top once; false when there is none.
    bool findInConversation(const QString& text);
    // The conversation as the saved log holds it.
    [[nodiscard]] QString conversationLog() const;
    // The chooser the save dialog asks; by default the desktop's.
    void setFileChooser(FileChooser* chooser) { fileChooser_ = chooser; }

    void onConnectionLost() override;
    void onConnectionRestored() override;

protected:
    ChatWindow(Session& session, const Form& form);

    // The end of the window's construction, once it is laid out: the view's
    // banner and the toolbar's default font, the saved position, then the
    // style letters and the input box's font.
    void formLoad();
    void setSendingEnabled(bool on);
    // After a reconnect, the caret goes back to the input box of the window
    // in front, and of any window whose input box held its focus when the
    // connection was lost.
    void restoreInputFocus();
    // An entry carrying its documented name whose handler runs under the
    // error trap.
    QAction* addEntry(QMenu& menu, const char* name, const QString& text,
                      std::function<void()> handler, const QKeySequence& keys = {});
    // The Edit menu both windows show: the clipboard, select all, find, and
    // the font toolbar's name, size and styles.
    void addEditMenu();

    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    Session& session_;
    HtmlMessageView* brwMessage_;
    FontToolbar* tbFontSettings_;
    QPlainTextEdit* txtSendMsg_;
    QPushButton* cmdSend_;
    QString style_;

private:
    void restorePosition();
    void followToolbar();
    void insertSmilie(const QString& code);
    void askAndFind();

    Form form_;
    FileChooser* fileChooser_ = nullptr;
    bool inputHadFocus_ = false;
    // Blocks of the view before the first chat line (the banner).
    int headerBlocks_ = 0;
};

} // namespace velmora
