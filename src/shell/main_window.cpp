#include "shell/main_window.h"

#include "controls/buddy_list.h"
#include "controls/buddy_tree_delegate.h"
#include "controls/image_list.h"
#include "session/session.h"
#include "shell/login_window.h"
#include "shell/toolbar_icons.h"

#include <QAction>
#include <QCloseEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QToolBar>
#include <QTreeWidget>

namespace velmora {

MainWindow::MainWindow(Session& session)
    : session_(session), tvBuddies_(new QTreeWidget(this)), sbConnect_(new QStatusBar(this)),
      lblConnect_(new QLabel(sbConnect_)), tbMain_(new QToolBar(this)),
      pctSys_(new QSystemTrayIcon(this)), mnuSys_(new QMenu(this)), mnuBuddy_(new QMenu(this)) {
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QString::fromLatin1(Session::kAppTitle));
    setWindowIcon(images::mainImage(images::kTrayOnline));
    resize(300, 560);

    tvBuddies_->setObjectName(QStringLiteral("tvBuddies"));
    tvBuddies_->setAccessibleName(QStringLiteral("Buddies"));
    tvBuddies_->setHeaderHidden(true);
    // The chains are always open and drawn flat; a double click opens a
    // conversation instead of folding a chain.
    tvBuddies_->setIndentation(0);
    tvBuddies_->setItemsExpandable(false);
    tvBuddies_->setExpandsOnDoubleClick(false);
    tvBuddies_->setItemDelegate(new BuddyTreeDelegate(tvBuddies_));
    tvBuddies_->setIconSize(QSize(20, 20));
    tvBuddies_->setRootIsDecorated(false);
    tvBuddies_->setUniformRowHeights(true);
    tvBuddies_->setContextMenuPolicy(Qt::CustomContextMenu);
    setCentralWidget(tvBuddies_);
    buddies_ = std::make_unique<BuddyList>(*tvBuddies_, session_.values().lngNodeKey);
    session_.setFrame(this);

    sbConnect_->setObjectName(QStringLiteral("sbConnect"));
    // A permanent part of the bar: the menus' empty status tips, which
    // replace a temporary message, leave it standing.
    lblConnect_->setObjectName(QStringLiteral("lblConnect"));
    sbConnect_->addPermanentWidget(lblConnect_, 1);
    setStatusBar(sbConnect_);

    buildMenus();
    buildToolbar();
    // Wide enough for the five captions.
    resize(qMax(width(), tbMain_->sizeHint().width()), height());
    buildTray();
    buildBuddyMenu();

    connect(tvBuddies_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item, int) {
        if (item && !BuddyList::isGroupNode(item)) {
            emit buddyActivated(item->text(0));
        }
    });
    connect(tvBuddies_, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& pos) { showBuddyMenu(pos); });

    resetBuddyTree();
    setToolbarOffline();
    setConnectStatus(QStringLiteral("Offline"));
    setTrayStatus(kImageOffline, QStringLiteral("Offline"));
}

MainWindow::~MainWindow() {
    delete loginWindow_.data();
    pctSys_->hide();
}

LoginWindow* MainWindow::existingLoginWindow() const {
    return loginWindow_.data();
}

LoginWindow& MainWindow::loginWindow() {
    if (!loginWindow_) {
        loginWindow_ = new LoginWindow(session_, this);
    }
    return *loginWindow_;
}

QAction* MainWindow::addMenuAction(QMenu* menu, const char* name, const QString& text) {
    QAction* action = menu->addAction(text);
    action->setObjectName(QString::fromLatin1(name));
    return action;
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    actions_.fileLogInOut = addMenuAction(file, "mnuFileLogInOut", QStringLiteral("Log &In / Out"));
    actions_.fileEditServerList =
        addMenuAction(file, "mnuFileEditServerList", QStringLiteral("Edit &Server List..."));
    file->addSeparator();
    QAction* toTray = actions_.fileMinimizeToTray =
        addMenuAction(file, "mnuFileMinimizeToTray", QStringLiteral("&Minimize to Tray"));
    connect(toTray, &QAction::triggered, this, [this] {
        setWindowState(windowState() | Qt::WindowMinimized);
        hideToTray();
    });
    // Without a tray there is nothing to minimise to.
    connect(file, &QMenu::aboutToShow, this, [this] {
        actions_.fileMinimizeToTray->setVisible(session_.desktop().hasSystemTray());
    });
    file->addSeparator();
    QAction* exit = actions_.fileExit = addMenuAction(file, "mnuFileExit", QStringLiteral("E&xit"));
    connect(exit, &QAction::triggered, this, &QWidget::close);

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    actions_.editSettings = addMenuAction(edit, "mnuEditSettings", QStringLiteral("&Settings..."));

    QMenu* tools = menuBar()->addMenu(QStringLiteral("&Tools"));
    tools->setObjectName(QStringLiteral("mnuTools"));
    QAction* sendMessage = actions_.toolsSendMessage =
        addMenuAction(tools, "mnuToolsSendMessage", QStringLiteral("Send &Message"));
    connect(sendMessage, &QAction::triggered, this, [this] {
        const QString buddy = selectedBuddy();
        if (!buddy.isEmpty()) {
            emit buddyActivated(buddy);
        }
    });
    actions_.toolsSendAPM =
        addMenuAction(tools, "mnuToolsSendAPM", QStringLiteral("Send an &IM..."));
    actions_.toolsSendFile =
        addMenuAction(tools, "mnuToolsSendFile", QStringLiteral("Send &File..."));
    actions_.toolsViewProfile =
        addMenuAction(tools, "mnuToolsViewProfile", QStringLiteral("View &Profile"));
    tools->addSeparator();
    actions_.toolsAddContact =
        addMenuAction(tools, "mnuToolsAddContact", QStringLiteral("&Add Contact..."));
    actions_.toolsDeleteContact =
        addMenuAction(tools, "mnuToolsDeleteContact", QStringLiteral("&Delete Contact"));
    actions_.toolsSearchUsers =
        addMenuAction(tools, "mnuToolsSearchUsers", QStringLiteral("Searc&h Users..."));
    tools->addSeparator();
    actions_.toolsOpenConference =
        addMenuAction(tools, "mnuToolsOpenConference", QStringLiteral("Open &Conference..."));
    actions_.toolsOfflineMsgs =
        addMenuAction(tools, "mnuToolsOfflineMsgs", QStringLiteral("&Offline Messages..."));
    // The history is kept on this computer: it stays searchable offline.
    actions_.toolsSearchHistory =
        addMenuAction(tools, "mnuToolsSearchHistory", QStringLiteral("Search Hi&story..."));
    tools->addSeparator();
    QMenu* account = tools->addMenu(QStringLiteral("Acco&unt"));
    account->setObjectName(QStringLiteral("mnuToolsAccount"));
    actions_.toolsChangePassword =
        addMenuAction(account, "mnuToolsChangePassword", QStringLiteral("Change &Password..."));
    actions_.toolsDeleteAccount =
        addMenuAction(account, "mnuToolsDeleteAccount", QStringLiteral("&Delete Account..."));

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    actions_.helpHelp = addMenuAction(help, "mnuHelpHelp", QStringLiteral("&Help Contents"));
    actions_.helpAbout = addMenuAction(help, "mnuHelpAbout", QStringLiteral("&About Velmora"));
}

void MainWindow::buildToolbar() {
    tbMain_->setObjectName(QStringLiteral("tbMain"));
    tbMain_->setMovable(false);
    tbMain_->setFloatable(false);
    // Each picture with its caption under it.
    tbMain_->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    tbMain_->setIconSize(QSize(26, 26));
    addToolBar(Qt::TopToolBarArea, tbMain_);
    // Each button runs the menu command of the same meaning.
    const std::array<std::pair<const char*, QAction*>, 5> buttons{{
        {"Send IM", actions_.toolsSendMessage},
        {"Send File", actions_.toolsSendFile},
        {"View Profile", actions_.toolsViewProfile},
        {"Add Contact", actions_.toolsAddContact},
        {"Open Conference", actions_.toolsOpenConference},
    }};
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        QAction* button = tbMain_->addAction(toolbar_icons::button(static_cast<int>(i) + 1),
                                             QString::fromLatin1(buttons[i].first));
        button->setObjectName(QStringLiteral("tbMainButton%1").arg(i + 1));
        QAction* command = buttons[i].second;
        command->setIcon(button->icon());
        connect(button, &QAction::triggered, command, &QAction::trigger);
        buttons_[i] = button;
    }
}

void MainWindow::buildTray() {
    pctSys_->setObjectName(QStringLiteral("pctSys"));
    mnuSys_->setObjectName(QStringLiteral("mnuSys"));
    QAction* sha = actions_.sysSHA =
        addMenuAction(mnuSys_, "mnuSysSHA", QStringLiteral("Hide Application"));
    connect(sha, &QAction::triggered, this, [this] {
        if (isVisible()) {
            setWindowState(windowState() | Qt::WindowMinimized);
            hideToTray();
        } else {
            restoreFromTray();
        }
    });
    mnuSys_->addSeparator();
    QAction* sendAnIM = actions_.sysSendAnIM =
        addMenuAction(mnuSys_, "mnuSysSendAnIM", QStringLiteral("Send an IM..."));
    connect(sendAnIM, &QAction::triggered, actions_.toolsSendAPM, &QAction::trigger);
    QAction* addABuddy = actions_.sysAddABuddy =
        addMenuAction(mnuSys_, "mnuSysAddABuddy", QStringLiteral("Add a Buddy..."));
    connect(addABuddy, &QAction::triggered, actions_.toolsAddContact, &QAction::trigger);
    mnuSys_->addSeparator();
    QAction* exit = actions_.sysExit = addMenuAction(mnuSys_, "mnuSysExit", QStringLiteral("Exit"));
    connect(exit, &QAction::triggered, this, &QWidget::close);
    connect(mnuSys_, &QMenu::aboutToShow, this, &MainWindow::updateTrayMenu);

    connect(pctSys_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                // StatusNotifier trays (Plasma, GNOME's AppIndicator) send a
                // single Trigger for a click and never a double click.
                if (reason == QSystemTrayIcon::DoubleClick) {
                    onTrayNotification(kTrayDoubleClick);
                } else if (reason == QSystemTrayIcon::Trigger) {
                    onTrayNotification(kTrayClick);
                } else if (reason == QSystemTrayIcon::Context) {
                    onTrayNotification(kTrayRightButtonDown);
                }
            });
    connect(pctSys_, &QSystemTrayIcon::messageClicked, this, [this] {
        if (trayMessageClicked_) {
            session_.trap([this] { trayMessageClicked_(); });
        }
    });
    if (session_.desktop().hasSystemTray()) {
        pctSys_->show();
    }
}

void MainWindow::buildBuddyMenu() {
    mnuBuddy_->setObjectName(QStringLiteral("mnuBuddy"));
    const Actions& a = actions_;
    // Null marks a separator.
    for (QAction* command :
         {a.toolsSendMessage, a.toolsSendAPM, a.toolsSendFile, a.toolsViewProfile,
          static_cast<QAction*>(nullptr), a.toolsAddContact, a.toolsDeleteContact,
          a.toolsSearchUsers, static_cast<QAction*>(nullptr), a.toolsOpenConference,
          a.toolsOfflineMsgs}) {
        if (command) {
            mnuBuddy_->addAction(command);
        } else {
            mnuBuddy_->addSeparator();
        }
    }
}

void MainWindow::showBuddyMenu(const QPoint& pos) {
    // A right click acts on the node under the mouse, as a left click would.
    if (QTreeWidgetItem* node = tvBuddies_->itemAt(pos)) {
        tvBuddies_->setCurrentItem(node);
    }
    mnuBuddy_->popup(tvBuddies_->viewport()->mapToGlobal(pos));
}

void MainWindow::updateTrayMenu() {
    actions_.sysSHA->setText(isVisible() ? QStringLiteral("Hide Application")
                                         : QStringLiteral("Show Application"));
    actions_.sysSHA->setVisible(session_.desktop().hasSystemTray());
    // Sending and adding need a live session.
    const bool online = !session_.values().userName.isEmpty();
    actions_.sysSendAnIM->setEnabled(online);
    actions_.sysAddABuddy->setEnabled(online);
}

void MainWindow::onTrayNotification(int code) {
    session_.trap([&] {
        updateTrayMenu();
        // A click restores only a hidden window: on a window in view it does
        // nothing.
        if (code == kTrayDoubleClick || (code == kTrayClick && !isVisible())) {
            restoreFromTray();
        } else if (code == kTrayRightButtonDown) {
            mnuSys_->popup(QCursor::pos());
        }
    });
}

void MainWindow::setConnectStatus(const QString& text) {
    lblConnect_->setText(text);
}

QString MainWindow::connectStatus() const {
    return lblConnect_->text();
}

QAction* MainWindow::toolbarButton(int index) const {
    return index >= 1 && index <= 5 ? buttons_[static_cast<std::size_t>(index - 1)] : nullptr;
}

void MainWindow::setToolbarButtonEnabled(int index, bool enabled) {
    if (QAction* button = toolbarButton(index)) {
        button->setEnabled(enabled);
    }
}

void MainWindow::setToolbarOnline() {
    for (int i = 1; i <= 5; ++i) {
        setToolbarButtonEnabled(i, true);
    }
    setSessionCommandsEnabled(true);
}

void MainWindow::setToolbarOffline() {
    for (int i = 1; i <= 5; ++i) {
        setToolbarButtonEnabled(i, false);
    }
    toolbarButton(3)->setVisible(false);
    setSessionCommandsEnabled(false);
}

void MainWindow::setSessionCommandsEnabled(bool enabled) {
    // The commands that talk to the server; the offline messages are kept
    // on this computer and stay readable while offline.
    const Actions& a = actions_;
    for (QAction* command :
         {a.toolsSendMessage, a.toolsSendAPM, a.toolsSendFile, a.toolsViewProfile,
          a.toolsAddContact, a.toolsDeleteContact, a.toolsSearchUsers, a.toolsOpenConference,
          a.toolsChangePassword, a.toolsDeleteAccount}) {
        command->setEnabled(enabled);
    }
    a.fileLogInOut->setText(enabled ? QStringLiteral("Log &Out") : QStringLiteral("Log &In..."));
}

void MainWindow::setProfileEntriesVisible(bool visible) {
    actions_.toolsViewProfile->setVisible(visible);
    toolbarButton(3)->setVisible(visible);
}

void MainWindow::setOpenConferenceVisible(bool visible) {
    actions_.toolsOpenConference->setVisible(visible);
}

void MainWindow::resetBuddyTree() {
    buddies_->reset();
}

void MainWindow::setTrayStatus(int image, const QString& text) {
    trayImage_ = image;
    pctSys_->setToolTip(QString::fromLatin1(Session::kAppTitle) + QStringLiteral(" - ") + text);
    pctSys_->setIcon(images::mainImage(image));
}

void MainWindow::showTrayMessage(const QString& title, const QString& body,
                                 std::function<void()> activated) {
    if (!pctSys_->isVisible()) {
        return;
    }
    trayMessageClicked_ = std::move(activated);
    pctSys_->showMessage(title, body, pctSys_->icon());
}

QString MainWindow::trayTip() const {
    return pctSys_->toolTip();
}

QString MainWindow::selectedBuddy() const {
    QTreeWidgetItem* node = tvBuddies_->currentItem();
    if (!node || BuddyList::isGroupNode(node)) {
        return QString();
    }
    return node->text(0);
}

void MainWindow::hideToTray() {
    // Hidden with no tray icon to click, the window could not come back: it
    // stays minimised on the task bar instead.
    if (!session_.desktop().hasSystemTray()) {
        return;
    }
    pctSys_->show();
    hide();
}

void MainWindow::restoreFromTray() {
    setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    show();
    raise();
    activateWindow();
}

void MainWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && isMinimized() &&
        session_.preferences().minTray == 1) {
        hideToTray();
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // Closing the main window ends the program: the session goes with it.
    // A window that refuses to close (a room whose exit was declined) keeps
    // the program running; a failure while closing does not.
    bool closed = true;
    session_.trap([&] { closed = session_.closeSessionWindows(); });
    if (!closed) {
        event->ignore();
        return;
    }
    pctSys_->hide();
    event->accept();
    emit exitRequested();
}

} // namespace velmora
