#include "conference/conf_window.h"

#include "conference/send_invitation_dialog.h"
#include "contacts/profile.h"
#include "controls/font_toolbar.h"
#include "messaging/chat_input.h"
#include "messaging/chat_menus.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "transfer/file_sender.h"

#include <QAction>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <utility>

namespace velmora {

namespace {

constexpr ChatWindow::Form kForm{"frmConf", QSize(640, 460), "Save Conference Log As..."};
const QString kNoticeFont =
    QStringLiteral("<font name=\"MS Sans Serif\" size=\"3.3\" color=\"#FF0000\">");
const QString kLineEnd = QStringLiteral("\r\n<br>\r\n");

} // namespace

ConfWindow::ConfWindow(Session& session)
    : ChatWindow(session, kForm), tvUsers_(new QTreeWidget(this)) {
    setWindowTitle(QStringLiteral("Conference Room"));
    buildLayout();
    buildMenus();
    formLoad();
}

ConfWindow::~ConfWindow() = default;

void ConfWindow::buildLayout() {
    tvUsers_->setObjectName(QStringLiteral("tvUsers"));
    tvUsers_->setAccessibleName(QStringLiteral("Members of the room"));
    tvUsers_->setHeaderLabel(QStringLiteral("In this room"));
    tvUsers_->setRootIsDecorated(false);
    tvUsers_->setIndentation(0);
    tvUsers_->setContextMenuPolicy(Qt::ActionsContextMenu);
    txtSendMsg_->setFixedHeight(64);
    cmdSend_->setMinimumHeight(64);

    auto* split = new QSplitter(Qt::Horizontal, this);
    split->addWidget(brwMessage_);
    split->addWidget(tvUsers_);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 0);
    split->setSizes({470, 150});
    split->setChildrenCollapsible(false);
    // Tab goes from the talk to the members, then to the toolbar and the input.
    setTabOrder(brwMessage_, tvUsers_);

    auto* input = new QHBoxLayout;
    input->addWidget(txtSendMsg_, 1);
    input->addWidget(cmdSend_);

    auto* central = new QWidget(this);
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(split, 1);
    layout->addWidget(tbFontSettings_);
    layout->addLayout(input);
    setCentralWidget(central);
}

void ConfWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(QStringLiteral("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    addEntry(*file, "mnuFileInviteUsers", QStringLiteral("&Invite Users..."),
             [this] { inviteUsers(); });
    addEntry(
        *file, "mnuFileSaveLog", QStringLiteral("Save Conference &Log As..."),
        [this] { saveLog(); }, QKeySequence::Save);
    file->addSeparator();
    addEntry(
        *file, "mnuFileClose", QStringLiteral("&Close"), [this] { close(); }, QKeySequence::Close);

    addEditMenu();

    // The commands for the member selected in `tvUsers`, also its context
    // menu.
    QMenu* users = menuBar()->addMenu(QStringLiteral("&Users"));
    users->setObjectName(QStringLiteral("mnuUsers"));
    const auto forMember = [this](std::function<void(const QString&)> act) {
        return [this, act = std::move(act)] {
            if (const QString name = selectedMember(); !name.isEmpty()) {
                act(name);
            }
        };
    };
    mnuSendPM_ = addEntry(*users, "mnuUsersSendPM", QStringLiteral("Send PM ["),
                          forMember([this](const QString& name) { OpenPMWindow(session_, name); }));
    mnuViewProfile_ =
        addEntry(*users, "mnuUsersViewProfile", QStringLiteral("View Profile ["),
                 forMember([this](const QString& name) { openProfile(session_, name, this); }));
    mnuSendFile_ =
        addEntry(*users, "mnuUsersSendFile", QStringLiteral("Send File ["),
                 forMember([this](const QString& name) { sendFile(session_, name, this); }));

    tvUsers_->addActions({mnuSendPM_, mnuViewProfile_, mnuSendFile_});
    connect(tvUsers_, &QTreeWidget::itemSelectionChanged, this, [this] { updateMemberActions(); });
    connect(tvUsers_, &QTreeWidget::itemDoubleClicked, mnuSendPM_, &QAction::trigger);
    updateMemberActions();

    addHelpMenu(*menuBar(), session_.frame().actions(), QKeySequence());
}

QStringList ConfWindow::members() const {
    QStringList names;
    for (int i = 0; i < tvUsers_->topLevelItemCount(); ++i) {
        names.append(tvUsers_->topLevelItem(i)->text(0));
    }
    return names;
}

void ConfWindow::enterRoom(const QString& name) {
    // Joining another room leaves the first one on the server, and the new
    // room's details bring its own member list.
    if (name.toUpper() != confName_.toUpper()) {
        tvUsers_->clear();
    }
    confName_ = name;
    lostRoom_.clear();
    setSendingEnabled(true);
}

void ConfWindow::writeNotice(const QString& html) {
    brwMessage_->write(html);
    brwMessage_->scrollToEnd();
}

void ConfWindow::addMember(const QString& name) {
    removeMember(name);
    tvUsers_->addTopLevelItem(new QTreeWidgetItem(QStringList{name}));
}

void ConfWindow::removeMember(const QString& name) {
    const QString wanted = name.toUpper();
    for (int i = tvUsers_->topLevelItemCount() - 1; i >= 0; --i) {
        if (tvUsers_->topLevelItem(i)->text(0).toUpper() == wanted) {
            delete tvUsers_->takeTopLevelItem(i);
        }
    }
}

void ConfWindow::playSound(bool enter) {
    const SoundSetting& sound = enter ? session_.preferences().enter : session_.preferences().exit;
    if (sound.enabled == 1) {
        session_.playSoundFile(sound.path);
    }
}

void ConfWindow::onDetails(bool full, const QStringList& members) {
    if (full) {
        session_.showMessage(QStringLiteral("Sorry, this conference already has the maximum users "
                                            "allowed in a conference!"),
                             style::kOk, QStringLiteral("Conference Full"), this);
        return;
    }
    writeNotice(kNoticeFont + QStringLiteral("----> Entered Conference \"") + confName_ +
                QStringLiteral("\"</font>\r\n<br><br>\r\n"));
    setWindowTitle(confName_ + QLatin1String(kCaptionSuffix));
    for (const QString& name : members) {
        addMember(name);
    }
    playSound(true);
}

void ConfWindow::onMemberEntered(const QString& name) {
    writeNotice(QStringLiteral("<br>") + kNoticeFont + QStringLiteral(" -> ") + name +
                QStringLiteral(" Entered</font>") + kLineEnd);
    addMember(name);
    playSound(true);
}

void ConfWindow::onMemberLeft(const QString& name) {
    writeNotice(QStringLiteral("<br>") + kNoticeFont + QStringLiteral(" -> ") + name +
                QStringLiteral(" Left</font>") + kLineEnd);
    removeMember(name);
    playSound(false);
}

void ConfWindow::onMessage(const QString& sender, QString text, const QString& fontName,
                           const QString& fontSize, const QString& style) {
    const bool own = sender.toUpper() == session_.values().userName.toUpper();
    AppendMessageHtml(text, QString::fromLatin1(own ? kOwnColour : kOthersColour), sender, fontName,
                      fontSize, *brwMessage_, style, formatterOptions(session_));
}

void ConfWindow::onConnectionLost() {
    if (!confName_.isEmpty()) {
        lostRoom_ = confName_;
    }
    ChatWindow::onConnectionLost();
    tvUsers_->clear();
    confName_.clear();
}

void ConfWindow::onConnectionRestored() {
    // Back in the room the connection left; its details bring the members.
    if (!lostRoom_.isEmpty()) {
        const QString room = std::exchange(lostRoom_, QString());
        enterRoom(room);
        session_.trap([&] { session_.joinRoom(room); });
    }
    restoreInputFocus();
}

void ConfWindow::cmdSend_Click() {
    session_.trap([this] { send(); });
    // A failed send disconnects, and the disconnect leaves sending off.
    if (session_.isConnected() && !confName_.isEmpty()) {
        setSendingEnabled(true);
    }
    txtSendMsg_->setFocus();
}

void ConfWindow::send() {
    setSendingEnabled(false);
    const QString text = typedText(txtSendMsg_->toPlainText());
    if (text.trimmed().isEmpty()) {
        session_.prompter().beep();
        return;
    }
    const QFont font = txtSendMsg_->font();
    session_.sendRoomMessage(confName_, wireText(text), font.family(),
                             QString::number(font.pointSizeF()), style_);
    txtSendMsg_->clear();
}

void ConfWindow::inviteUsers() {
    auto* dialog = new SendInvitationDialog(session_, *this);
    session_.adoptWindow(dialog);
    dialog->show();
}

QString ConfWindow::selectedMember() const {
    const QList<QTreeWidgetItem*> selected = tvUsers_->selectedItems();
    return selected.isEmpty() ? QString() : selected.first()->text(0);
}

void ConfWindow::updateMemberActions() {
    const QString name = selectedMember();
    mnuSendPM_->setText(QStringLiteral("Send PM [") + name + QLatin1Char(']'));
    mnuViewProfile_->setText(QStringLiteral("View Profile [") + name + QLatin1Char(']'));
    mnuSendFile_->setText(QStringLiteral("Send File [") + name + QLatin1Char(']'));
    mnuSendPM_->setEnabled(!name.isEmpty());
    mnuSendFile_->setEnabled(!name.isEmpty());
    mnuViewProfile_->setEnabled(!name.isEmpty() && !session_.values().strProfileSite.isEmpty());
}

void ConfWindow::closeEvent(QCloseEvent* event) {
    // Without a room (the connection was lost) there is nothing to leave.
    if (!confName_.isEmpty()) {
        const int answer =
            session_.showMessage(QStringLiteral("You are about to exit the conference \"") +
                                     confName_ + QStringLiteral("\".\r\nDo you wish to continue?"),
                                 style::kYesNoQuestion, QStringLiteral("Exit Conference"), this);
        if (answer != answer::kYes) {
            event->ignore();
            return;
        }
        session_.trap([this] { session_.leaveRoom(confName_); });
        tvUsers_->clear();
    }
    ChatWindow::closeEvent(event);
}

} // namespace velmora
