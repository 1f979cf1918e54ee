// `frmMain`: the buddy tree, the toolbar `tbMain`, the menus, the status bar
// `sbConnect` and the tray icon. It lives as long as its Session.
#pragma once

#include "session/main_frame.h"

#include <QMainWindow>
#include <QPointer>
#include <QString>

#include <array>
#include <memory>

class QAction;
class QLabel;
class QMenu;
class QPoint;
class QSystemTrayIcon;
class QTreeWidget;
class QTreeWidgetItem;
class QStatusBar;
class QToolBar;

namespace velmora {

class BuddyList;
class LoginWindow;
class Session;

class MainWindow : public QMainWindow, public MainFrame {
    Q_OBJECT
public:
    // Tray notification codes: left click (button up), left double click and
    // right button down.
    static constexpr int kTrayClick = 0x202;
    static constexpr int kTrayDoubleClick = 0x203;
    static constexpr int kTrayRightButtonDown = 0x204;

    explicit MainWindow(Session& session);
    ~MainWindow() override;

    [[nodiscard]] QWidget& widget() override { return *this; }
    [[nodiscard]] const Actions& actions() const override { return actions_; }
    [[nodiscard]] BuddyList& buddies() override { return *buddies_; }
    [[nodiscard]] QTreeWidget& tvBuddies() { return *tvBuddies_; }

    // The login window, created (hidden) when none is open.
    [[nodiscard]] LoginWindow& loginWindow();
    // The login window if one is open, else null.
    [[nodiscard]] LoginWindow* existingLoginWindow() const;

    void setConnectStatus(const QString& text) override;
    [[nodiscard]] QString connectStatus() const;

    // Toolbar buttons by index, 1 to 5.
    [[nodiscard]] QAction* toolbarButton(int index) const;
    void setToolbarButtonEnabled(int index, bool enabled) override;
    // After login: the buttons and menu commands that act on the session
    // come alive.
    void setToolbarOnline() override;
    // Buttons 1 to 5 disabled and the profile button hidden; the session's
    // menu commands disabled.
    void setToolbarOffline() override;
    void setProfileEntriesVisible(bool visible) override;
    void setOpenConferenceVisible(bool visible) override;
    void resetBuddyTree() override;

    // Tray icon image (main image list index) and tip: title + " - " + text.
    void setTrayStatus(int image, const QString& text) override;
    [[nodiscard]] QString trayTip() const;
    void showTrayMessage(const QString& title, const QString& body,
                         std::function<void()> activated) override;
    [[nodiscard]] int trayImage() const { return trayImage_; }
    // One tray notification, by code (see kTray*).
    void onTrayNotification(int code);
    [[nodiscard]] QMenu* trayMenu() const { return mnuSys_; }
    // The tree's context menu: the Tools commands for the selected buddy.
    [[nodiscard]] QMenu* buddyMenu() const { return mnuBuddy_; }
    // Pops up the context menu for the node at `pos` (tree viewport coordinates).
    void showBuddyMenu(const QPoint& pos);

    // The buddy selected in the tree, or empty when none or a group node.
    [[nodiscard]] QString selectedBuddy() const override;

    void hideToTray();
    void restoreFromTray();

signals:
    // A buddy node was double-clicked or "Send IM" chosen for it.
    void buddyActivated(const QString& name);
    // The main window was closed: the program ends.
    void exitRequested();

protected:
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void buildMenus();
    void buildToolbar();
    void buildTray();
    void buildBuddyMenu();
    void setSessionCommandsEnabled(bool enabled);
    void updateTrayMenu();
    QAction* addMenuAction(QMenu* menu, const char* name, const QString& text);

    Session& session_;
    QTreeWidget* tvBuddies_;
    std::unique_ptr<BuddyList> buddies_;
    QStatusBar* sbConnect_;
    QLabel* lblConnect_;
    QToolBar* tbMain_;
    std::array<QAction*, 5> buttons_{};
    QSystemTrayIcon* pctSys_;
    QMenu* mnuSys_;
    QMenu* mnuBuddy_;
    int trayImage_ = kImageOffline;
    Actions actions_;
    QPointer<LoginWindow> loginWindow_;
    // What a click on the tray's balloon opens.
    std::function<void()> trayMessageClicked_;
};

} // namespace velmora
