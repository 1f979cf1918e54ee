// What the session and its features need of the main window, which the
// shell builds: the commands of its menus and tray, the buddy tree, the
// status bar and tray, and the widget that owns boxes and dialogs. The
// session itself creates no widgets; the shell implements this.
#pragma once

#include <QString>

#include <functional>

class QAction;
class QWidget;

namespace velmora {

class BuddyList;

// The main window's commands, each also found by its documented objectName.
struct Actions {
    QAction* fileLogInOut = nullptr;
    QAction* fileEditServerList = nullptr;
    QAction* fileMinimizeToTray = nullptr;
    QAction* fileExit = nullptr;
    QAction* editSettings = nullptr;
    QAction* toolsSendMessage = nullptr;
    QAction* toolsSendAPM = nullptr;
    QAction* toolsSendFile = nullptr;
    QAction* toolsViewProfile = nullptr;
    QAction* toolsAddContact = nullptr;
    QAction* toolsDeleteContact = nullptr;
    QAction* toolsSearchUsers = nullptr;
    QAction* toolsOpenConference = nullptr;
    QAction* toolsOfflineMsgs = nullptr;
    QAction* toolsSearchHistory = nullptr;
    QAction* toolsChangePassword = nullptr;
    QAction* toolsDeleteAccount = nullptr;
    QAction* helpHelp = nullptr;
    QAction* helpAbout = nullptr;
    QAction* sysSHA = nullptr;
    QAction* sysSendAnIM = nullptr;
    QAction* sysAddABuddy = nullptr;
    QAction* sysExit = nullptr;
};

class MainFrame {
public:
    // Tray images.
    static constexpr int kImageOffline = 13;
    static constexpr int kImageOnline = 12;

    [[nodiscard]] virtual QWidget& widget() = 0;
    [[nodiscard]] virtual const Actions& actions() const = 0;
    [[nodiscard]] virtual BuddyList& buddies() = 0;
    // The buddy selected in the tree, or empty when none or a group node.
    [[nodiscard]] virtual QString selectedBuddy() const = 0;

    virtual void setConnectStatus(const QString& text) = 0;
    virtual void setToolbarButtonEnabled(int index, bool enabled) = 0;
    virtual void setToolbarOnline() = 0;
    virtual void setToolbarOffline() = 0;
    virtual void setProfileEntriesVisible(bool visible) = 0;
    virtual void setOpenConferenceVisible(bool visible) = 0;
    virtual void resetBuddyTree() = 0;
    virtual void setTrayStatus(int image, const QString& text) = 0;
    // A balloon from the tray icon, for desktops without notifications;
    // `activated` runs when the user clicks it.
    virtual void showTrayMessage(const QString& title, const QString& body,
                                 std::function<void()> activated) = 0;

protected:
    ~MainFrame() = default;
};

} // namespace velmora
