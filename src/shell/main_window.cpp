#include "shell/main_window.h"

#include "app/client.h"
#include "contacts/buddy_list.h"
#include "contacts/buddy_tree_delegate.h"
#include "shell/image_list.h"
#include "shell/toolbar_icons.h"

#include <QAction>
#include <QCloseEvent>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QToolBar>
#include <QTreeWidget>

namespace velmora {

MainWindow::MainWindow(Client& client)
    : client_(client), tvBuddies_(new QTreeWidget(this)), sbConnect_(new QStatusBar(this)),
      tbMain_(new QToolBar(this)), pctSys_(new QSystemTrayIcon(this)), mnuSys_(new QMenu(this)),
      mnuBuddy_(new QMenu(this)) {
    setObjectName(QStringLiteral("frmMain"));
    setWindowTitle(QString::fromLatin1(Client::kAppTitle));
    setWindowIcon(images::mainImage(images::kTrayOnline));
    resize(300, 560);

    tvBuddies_->setObjectName(QStringLiteral("tvBuddies"));
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
    buddies_ = std::make_unique<BuddyList>(*tvBuddies_, client_.session().lngNodeKey);

    sbConnect_->setObjectName(QStringLiteral("sbConnect"));
    setStatusBar(sbConnect_);

    buildMenus();
    buildToolbar();
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
    SetTrayStatus(kImageOffline, QStringLiteral("Offline"));
}

MainWindow::~MainWindow() {
    pctSys_->hide();
}

QAction* MainWindow::addMenuAction(QMenu* menu, const char* name, const QString& text) {
    QAction* action = menu->addAction(text);
    action->setObjectName(QString::fromLatin1(name));
    return action;
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    addMenuAction(file, "mnuFileLogInOut", QStringLiteral("Log &In / Out"));
    addMenuAction(file, "mnuFileEditServerList", QStringLiteral("Edit &Server List..."));
    file->addSeparator();
    QAction* toTray =
        addMenuAction(file, "mnuFileMinimizeToTray", QStringLiteral("&Minimize to Tray"));
    connect(toTray, &QAction::triggered, this, [this] {
        setWindowState(windowState() | Qt::WindowMinimized);
        hideToTray();
    });
    file->addSeparator();
    QAction* exit = addMenuAction(file, "mnuFileExit", QStringLiteral("E&xit"));
    connect(exit, &QAction::triggered, this, &QWidget::close);

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    addMenuAction(edit, "mnuEditSettings", QStringLiteral("&Settings..."));

    QMenu* tools = menuBar()->addMenu(QStringLiteral("&Tools"));
    tools->setObjectName(QStringLiteral("mnuTools"));
    QAction* sendMessage =
        addMenuAction(tools, "mnuToolsSendMessage", QStringLiteral("Send &Message"));
    connect(sendMessage, &QAction::triggered, this, [this] {
        const QString buddy = selectedBuddy();
        if (!buddy.isEmpty()) {
            emit buddyActivated(buddy);
        }
    });
    addMenuAction(tools, "mnuToolsSendAPM", QStringLiteral("Send an &IM..."));
    addMenuAction(tools, "mnuToolsSendFile", QStringLiteral("Send &File..."));
    addMenuAction(tools, "mnuToolsViewProfile", QStringLiteral("View &Profile"));
    tools->addSeparator();
    addMenuAction(tools, "mnuToolsAddContact", QStringLiteral("&Add Contact..."));
    addMenuAction(tools, "mnuToolsDeleteContact", QStringLiteral("&Delete Contact"));
    addMenuAction(tools, "mnuToolsSearchUsers", QStringLiteral("Searc&h Users..."));
    tools->addSeparator();
    addMenuAction(tools, "mnuToolsOpenConference", QStringLiteral("Open &Conference..."));
    addMenuAction(tools, "mnuToolsOfflineMsgs", QStringLiteral("&Offline Messages..."));

    QMenu* help = menuBar()->addMenu(QStringLiteral("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    addMenuAction(help, "mnuHelpHelp", QStringLiteral("&Help Contents"));
    addMenuAction(help, "mnuHelpAbout", QStringLiteral("&About Velmora"));
}

void MainWindow::buildToolbar() {
    tbMain_->setObjectName(QStringLiteral("tbMain"));
    tbMain_->setMovable(false);
    tbMain_->setFloatable(false);
    // Icons only, the captions as tips: five captions do not fit a buddy
    // list's width.
    tbMain_->setToolButtonStyle(Qt::ToolButtonIconOnly);
    tbMain_->setIconSize(QSize(26, 26));
    addToolBar(Qt::TopToolBarArea, tbMain_);
    // Each button runs the menu command of the same meaning.
    const std::array<std::pair<const char*, const char*>, 5> buttons{{
        {"Send IM", "mnuToolsSendMessage"},
        {"Send File", "mnuToolsSendFile"},
        {"View Profile", "mnuToolsViewProfile"},
        {"Add Contact", "mnuToolsAddContact"},
        {"Open Conference", "mnuToolsOpenConference"},
    }};
    for (std::size_t i = 0; i < buttons.size(); ++i) {
        QAction* button = tbMain_->addAction(toolbar_icons::button(static_cast<int>(i) + 1),
                                             QString::fromLatin1(buttons[i].first));
        button->setObjectName(QStringLiteral("tbMainButton%1").arg(i + 1));
        auto* command = findChild<QAction*>(QString::fromLatin1(buttons[i].second));
        command->setIcon(button->icon());
        connect(button, &QAction::triggered, command, &QAction::trigger);
        buttons_[i] = button;
    }
}

void MainWindow::buildTray() {
    pctSys_->setObjectName(QStringLiteral("pctSys"));
    mnuSys_->setObjectName(QStringLiteral("mnuSys"));
    QAction* sha = addMenuAction(mnuSys_, "mnuSysSHA", QStringLiteral("Hide Application"));
    connect(sha, &QAction::triggered, this, [this] {
        if (isVisible()) {
            setWindowState(windowState() | Qt::WindowMinimized);
            hideToTray();
        } else {
            restoreFromTray();
        }
    });
    mnuSys_->addSeparator();
    QAction* sendAnIM = addMenuAction(mnuSys_, "mnuSysSendAnIM", QStringLiteral("Send an IM..."));
    connect(sendAnIM, &QAction::triggered, findChild<QAction*>(QStringLiteral("mnuToolsSendAPM")),
            &QAction::trigger);
    QAction* addABuddy =
        addMenuAction(mnuSys_, "mnuSysAddABuddy", QStringLiteral("Add a Buddy..."));
    connect(addABuddy, &QAction::triggered,
            findChild<QAction*>(QStringLiteral("mnuToolsAddContact")), &QAction::trigger);
    mnuSys_->addSeparator();
    QAction* exit = addMenuAction(mnuSys_, "mnuSysExit", QStringLiteral("Exit"));
    connect(exit, &QAction::triggered, this, &QWidget::close);
    connect(mnuSys_, &QMenu::aboutToShow, this, &MainWindow::updateTrayMenu);

    connect(pctSys_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::DoubleClick) {
                    onTrayNotification(kTrayDoubleClick);
                } else if (reason == QSystemTrayIcon::Context) {
                    onTrayNotification(kTrayRightButtonDown);
                }
            });
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        pctSys_->show();
    }
}

void MainWindow::buildBuddyMenu() {
    mnuBuddy_->setObjectName(QStringLiteral("mnuBuddy"));
    for (const char* name :
         {"mnuToolsSendMessage", "mnuToolsSendAPM", "mnuToolsSendFile", "mnuToolsViewProfile", "",
          "mnuToolsAddContact", "mnuToolsDeleteContact", "mnuToolsSearchUsers", "",
          "mnuToolsOpenConference", "mnuToolsOfflineMsgs"}) {
        if (*name == '\0') {
            mnuBuddy_->addSeparator();
        } else {
            mnuBuddy_->addAction(findChild<QAction*>(QString::fromLatin1(name)));
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
    auto* sha = findChild<QAction*>(QStringLiteral("mnuSysSHA"));
    sha->setText(isVisible() ? QStringLiteral("Hide Application")
                             : QStringLiteral("Show Application"));
    // Sending and adding need a live session.
    const bool online = !client_.session().userName.isEmpty();
    findChild<QAction*>(QStringLiteral("mnuSysSendAnIM"))->setEnabled(online);
    findChild<QAction*>(QStringLiteral("mnuSysAddABuddy"))->setEnabled(online);
}

void MainWindow::onTrayNotification(int code) {
    client_.trap([&] {
        updateTrayMenu();
        if (code == kTrayDoubleClick) {
            restoreFromTray();
        } else if (code == kTrayRightButtonDown) {
            mnuSys_->popup(QCursor::pos());
        }
    });
}

void MainWindow::setConnectStatus(const QString& text) {
    sbConnect_->showMessage(text);
}

QString MainWindow::connectStatus() const {
    return sbConnect_->currentMessage();
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
    for (const char* name : {"mnuToolsSendMessage", "mnuToolsSendAPM", "mnuToolsSendFile",
                             "mnuToolsViewProfile", "mnuToolsAddContact", "mnuToolsDeleteContact",
                             "mnuToolsSearchUsers", "mnuToolsOpenConference"}) {
        findChild<QAction*>(QString::fromLatin1(name))->setEnabled(enabled);
    }
    findChild<QAction*>(QStringLiteral("mnuFileLogInOut"))
        ->setText(enabled ? QStringLiteral("Log &Out") : QStringLiteral("Log &In..."));
}

void MainWindow::setProfileEntriesVisible(bool visible) {
    findChild<QAction*>(QStringLiteral("mnuToolsViewProfile"))->setVisible(visible);
    toolbarButton(3)->setVisible(visible);
}

void MainWindow::setOpenConferenceVisible(bool visible) {
    findChild<QAction*>(QStringLiteral("mnuToolsOpenConference"))->setVisible(visible);
}

void MainWindow::resetBuddyTree() {
    buddies_->reset();
}

void MainWindow::SetTrayStatus(int image, const QString& text) {
    trayImage_ = image;
    pctSys_->setToolTip(QString::fromLatin1(Client::kAppTitle) + QStringLiteral(" - ") + text);
    pctSys_->setIcon(images::mainImage(image));
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
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        pctSys_->show();
    }
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
        client_.values().minTray == 1) {
        hideToTray();
    }
}

void MainWindow::closeEvent(QCloseEvent* event) {
    // Closing the main window ends the program: the session goes with it.
    client_.trap([&] { client_.closeSessionWindows(); });
    pctSys_->hide();
    event->accept();
    emit exitRequested();
}

} // namespace velmora
