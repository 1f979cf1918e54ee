// `frmOfflineMessages`: the messages stored for the logged-in user while they
// were away. A click shows a message and marks it read; the user deletes
// messages or replies to their senders. One per Session.
#pragma once

#include <QWidget>

#include <memory>

class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace velmora {

class Session;
class HtmlMessageView;
class OfflineDatabase;

class OfflineMessagesWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr const char* kFormName = "frmOfflineMessages";
    // Columns of `lvMessages`.
    enum Column { kSentColumn = 0, kFromColumn = 1, kMessageColumn = 2 };
    // The row's key ("m" + the database index) is kept in this role.
    static constexpr int kKeyRole = Qt::UserRole;

    // Builds the window and loads the list (see Form_Load).
    explicit OfflineMessagesWindow(Session& session);
    ~OfflineMessagesWindow() override;

    // Opens the database (kept open while the window lives), fills the list
    // with the session user's messages and shows the first one.
    void Form_Load();
    // Shows the row's message and marks it read, unless it is already shown.
    void lvMessages_ItemClick(QTreeWidgetItem* item);
    void cmdDelete_Click();
    void cmdReply_Click();
    void cmdClose_Click();

    [[nodiscard]] QTreeWidget& lvMessages() { return *lvMessages_; }
    [[nodiscard]] HtmlMessageView& brwMessage() { return *brwMessage_; }
    // List position (from 1) of the message in the view; 0 when none.
    [[nodiscard]] int shownPosition() const { return shownPosition_; }

private:
    void blankView();
    void setControlsEnabled(bool enabled);
    [[nodiscard]] static qint64 indexOf(const QTreeWidgetItem& item);

    Session& session_;
    std::unique_ptr<OfflineDatabase> database_;
    QTreeWidget* lvMessages_;
    HtmlMessageView* brwMessage_;
    QPushButton* cmdReply_;
    QPushButton* cmdDelete_;
    QPushButton* cmdClose_;
    int shownPosition_ = 0;
};

// Shows the session's offline messages window, opening it when none is open.
// An open one is only brought forward: its list and the message in view stay
// as the reader left them, and messages stored meanwhile are listed when the
// window is next opened.
OfflineMessagesWindow& ShowOfflineMessages(Session& session);

} // namespace velmora
