#include "conference/conf_window.h"

#include "app/client.h"
#include "conference/invite_dialog.h"
#include "contacts/profile.h"
#include "controls/font_toolbar.h"
#include "messaging/chat_input.h"
#include "messaging/chat_menus.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "session/connection.h"
#include "shell/main_window.h"

#include <QAction>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace velmora {

namespace {

constexpr ChatWindow::Form kForm{"frmConf", QSize(640, 460), "False", "Save Conference Log As..."};
const QString kNoticeFont =
    QStringLiteral("<font name=\"MS Sans Serif\" size=\"3.3\" color=\"#FF0000\">");
const QString kLineEnd = QStringLiteral("\r\n<br>\r\n");

} // namespace

ConfWindow::ConfWindow(Client& client)
    : ChatWindow(client, kForm), tvUsers_(new QTreeWidget(this)) {
    setWindowTitle(QStringLiteral("Conference Room"));
    buildLayout();
    buildMenus();
    formLoad();
}

ConfWindow::~ConfWindow() = default;

void ConfWindow::buildLayout() {
    tvUsers_->setObjectName(QStringLiteral("tvUsers"));
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
    mnuSendPM_ = addEntry(*file, "mnuFileSendPM", QStringLiteral("Send PM ["), [this] {
        if (const QString name = selectedMember(); !name.isEmpty()) {
            OpenPMWindow(client_, name);
        }
    });
    mnuViewProfile_ =
        addEntry(*file, "mnuFileViewProfile", QStringLiteral("View Profile ["), [this] {
            if (const QString name = selectedMember(); !name.isEmpty()) {
                openProfile(client_, name, this);
            }
        });
    addEntry(*file, "mnuFileInviteUsers", QStringLiteral("&Invite Users..."),
             [this] { inviteUsers(); });
    file->addSeparator();
    addEntry(*file, "mnuFileSaveLog", QStringLiteral("Save Conference &Log As..."),
             [this] { saveLog(); });
    file->addSeparator();
    addEntry(*file, "mnuFileClose", QStringLiteral("&Close"), [this] { close(); });

    tvUsers_->addAction(mnuSendPM_);
    tvUsers_->addAction(mnuViewProfile_);
    connect(tvUsers_, &QTreeWidget::itemSelectionChanged, this, [this] { updateMemberActions(); });
    connect(tvUsers_, &QTreeWidget::itemDoubleClicked, mnuSendPM_, &QAction::trigger);
    updateMemberActions();

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    addClipboardActions(*edit, *brwMessage_, *txtSendMsg_);
    addEntry(*edit, "mnuEditSelectAll", QStringLiteral("Select &All"),
             [this] { txtSendMsg_->selectAll(); });
    edit->addSeparator();
    addStyleToggles(*edit, *tbFontSettings_);

    addHelpMenu(*menuBar(), client_.mainWindow(), QKeySequence());
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
    if (name.toUpper() != strConfName_.toUpper()) {
        tvUsers_->clear();
    }
    strConfName_ = name;
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
    const SoundSetting& sound = enter ? client_.values().enter : client_.values().exit;
    if (sound.enabled == 1) {
        client_.PlaySoundFile(sound.path);
    }
}

void ConfWindow::onDetails(const QString& details) {
    if (details == QLatin1String("ConfFull")) {
        client_.ShowMessage(QStringLiteral("Sorry, this conference already has the maximum users "
                                           "allowed in a conference!"),
                            style::kOk, QStringLiteral("Conference Full"), this);
        return;
    }
    writeNotice(kNoticeFont + QStringLiteral("----> Entered Conference \"") + strConfName_ +
                QStringLiteral("\"</font>\r\n<br><br>\r\n"));
    setWindowTitle(strConfName_ + QLatin1String(kCaptionSuffix));
    // Element 0 is what comes before the first separator: never a name.
    const QStringList names = details.split(QStringLiteral(" :/ "));
    for (qsizetype i = 1; i < names.size(); ++i) {
        addMember(names[i]);
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
    const bool own = sender.toUpper() == client_.session().userName.toUpper();
    AppendMessageHtml(text, QString::fromLatin1(own ? kOwnColour : kOthersColour), sender, fontName,
                      fontSize, *brwMessage_, style, formatterOptions(client_));
}

void ConfWindow::onConnectionLost() {
    ChatWindow::onConnectionLost();
    tvUsers_->clear();
    strConfName_.clear();
}

void ConfWindow::cmdSend_Click() {
    client_.trap([this] { send(); });
    // A failed send disconnects, and the disconnect leaves sending off.
    if (client_.connection().State() == Connection::Connected && !strConfName_.isEmpty()) {
        setSendingEnabled(true);
    }
    txtSendMsg_->setFocus();
}

void ConfWindow::send() {
    setSendingEnabled(false);
    const QString text = typedText(txtSendMsg_->toPlainText());
    if (text.trimmed().isEmpty()) {
        client_.prompter().beep();
        return;
    }
    const QFont font = txtSendMsg_->font();
    const QString sep = QStringLiteral(" /:/ ");
    client_.connection().SendData(QStringLiteral(" ## cmdCM /:/ ") + client_.session().userName +
                                  sep + strConfName_ + sep + wireText(text) + sep + font.family() +
                                  sep + QString::number(font.pointSizeF()) + sep + style_);
    txtSendMsg_->clear();
}

void ConfWindow::inviteUsers() {
    auto* dialog = new InviteDialog(client_, *this);
    client_.adoptWindow(dialog);
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
    mnuSendPM_->setEnabled(!name.isEmpty());
    mnuViewProfile_->setEnabled(!name.isEmpty() && !client_.session().strProfileSite.isEmpty());
}

void ConfWindow::closeEvent(QCloseEvent* event) {
    // Without a room (the connection was lost) there is nothing to leave.
    if (!strConfName_.isEmpty()) {
        const int answer = client_.ShowMessage(
            QStringLiteral("You are about to exit the conference \"") + strConfName_ +
                QStringLiteral("\".\r\nDo you wish to continue?"),
            style::kYesNoQuestion, QStringLiteral("Exit Conference"), this);
        if (answer != answer::kYes) {
            event->ignore();
            return;
        }
        client_.trap([this] {
            client_.connection().SendData(QStringLiteral(" ## cmdCE /:/ ") +
                                          client_.session().userName + QStringLiteral(" /:/ ") +
                                          strConfName_);
        });
        tvUsers_->clear();
    }
    ChatWindow::closeEvent(event);
}

} // namespace velmora
