#include "conference/conf_window.h"

#include "conference/send_invitation_dialog.h"
#include "contacts/profile.h"
#include "controls/common_dialog.h"
#include "controls/font_toolbar.h"
#include "controls/form_position.h"
#include "messaging/chat_input.h"
#include "messaging/chat_menus.h"
#include "messaging/conversation_log.h"
#include "messaging/message_formatter.h"
#include "messaging/message_view_init.h"
#include "messaging/pm_window.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "session/main_frame.h"
#include "session/session.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>

#include <QVBoxLayout>
#include <limits>

namespace velmora {

namespace {

constexpr const char* kFormName = "frmConf";
const QString kNoticeFont =
    QStringLiteral("<font name=\"MS Sans Serif\" size=\"3.3\" color=\"#FF0000\">");
const QString kLineEnd = QStringLiteral("\r\n<br>\r\n");

} // namespace

ConfWindow::ConfWindow(Session& session)
    : session_(session), brwMessage_(new HtmlMessageView(session.desktop(), this)),
      tvUsers_(new QTreeWidget(this)), tbFontSettings_(new FontToolbar(this)),
      txtSendMsg_(new QPlainTextEdit(this)),
      cmdSend_(new QPushButton(QStringLiteral("&Send"), this)) {
    setObjectName(QString::fromLatin1(kFormName));
    setWindowTitle(QStringLiteral("Conference Room"));
    // The rooms keep a guarded pointer: a closed room window is gone.
    setAttribute(Qt::WA_DeleteOnClose);
    resize(640, 460);

    buildLayout();
    buildMenus();

    connect(tbFontSettings_, &FontToolbar::FontStyleChanged, this, [this] { updateStyle(); });
    connect(tbFontSettings_, &FontToolbar::FontNameChanged, this, [this] { updateStyle(); });
    connect(tbFontSettings_, &FontToolbar::FontSizeChanged, this, [this] { updateStyle(); });
    connect(tbFontSettings_, &FontToolbar::SmilieClick, this,
            [this](const QString& code) { insertSmilie(code); });
    connect(cmdSend_, &QPushButton::clicked, this, [this] { cmdSend_Click(); });
    txtSendMsg_->installEventFilter(this);

    tbFontSettings_->loadSmilies(session_.appFolder());
    session_.trap([this] { initView(); });
    session_.trap([this] { restorePosition(); });
    updateStyle();
}

ConfWindow::~ConfWindow() = default;

void ConfWindow::buildLayout() {
    brwMessage_->setObjectName(QStringLiteral("brwMessage"));
    tvUsers_->setObjectName(QStringLiteral("tvUsers"));
    tvUsers_->setHeaderLabel(QStringLiteral("In this room"));
    tvUsers_->setRootIsDecorated(false);
    tvUsers_->setIndentation(0);
    tvUsers_->setContextMenuPolicy(Qt::ActionsContextMenu);
    tbFontSettings_->setObjectName(QStringLiteral("tbFontSettings"));
    txtSendMsg_->setObjectName(QStringLiteral("txtSendMsg"));
    txtSendMsg_->setTabChangesFocus(true);
    txtSendMsg_->setFixedHeight(64);
    cmdSend_->setObjectName(QStringLiteral("cmdSend"));
    cmdSend_->setMinimumHeight(64);

    auto* split = new QSplitter(Qt::Horizontal, this);
    split->addWidget(brwMessage_);
    split->addWidget(tvUsers_);
    split->setStretchFactor(0, 1);
    split->setStretchFactor(1, 0);
    split->setSizes({470, 150});
    split->setChildrenCollapsible(false);

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
    mnuSendPM_ = addNamedAction(*file, "mnuFileSendPM", QStringLiteral("Send PM ["));
    mnuViewProfile_ = addNamedAction(*file, "mnuFileViewProfile", QStringLiteral("View Profile ["));
    QAction* invite =
        addNamedAction(*file, "mnuFileInviteUsers", QStringLiteral("&Invite Users..."));
    file->addSeparator();
    QAction* save =
        addNamedAction(*file, "mnuFileSaveLog", QStringLiteral("Save Conference &Log As..."));
    file->addSeparator();
    QAction* closeWindow = addNamedAction(*file, "mnuFileClose", QStringLiteral("&Close"));

    connect(mnuSendPM_, &QAction::triggered, this, [this] {
        session_.trap([this] {
            const QString name = selectedMember();
            if (!name.isEmpty()) {
                OpenPMWindow(session_, name);
            }
        });
    });
    connect(mnuViewProfile_, &QAction::triggered, this, [this] {
        session_.trap([this] {
            const QString name = selectedMember();
            if (!name.isEmpty()) {
                openProfile(session_, name, this);
            }
        });
    });
    connect(invite, &QAction::triggered, this,
            [this] { session_.trap([this] { inviteUsers(); }); });
    connect(save, &QAction::triggered, this, [this] { session_.trap([this] { saveLog(); }); });
    connect(closeWindow, &QAction::triggered, this, &QWidget::close);

    tvUsers_->addAction(mnuSendPM_);
    tvUsers_->addAction(mnuViewProfile_);
    connect(tvUsers_, &QTreeWidget::itemSelectionChanged, this, [this] { updateMemberActions(); });
    connect(tvUsers_, &QTreeWidget::itemDoubleClicked, mnuSendPM_, &QAction::trigger);
    updateMemberActions();

    QMenu* edit = menuBar()->addMenu(QStringLiteral("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    addClipboardActions(*edit, *brwMessage_, *txtSendMsg_);
    connect(addNamedAction(*edit, "mnuEditSelectAll", QStringLiteral("Select &All")),
            &QAction::triggered, txtSendMsg_, &QPlainTextEdit::selectAll);
    edit->addSeparator();
    addStyleToggles(*edit, *tbFontSettings_);

    addHelpMenu(*menuBar(), session_.frame().actions(), QKeySequence());
}

void ConfWindow::initView() {
    headerBlocks_ = InitMessageView(*brwMessage_, *tbFontSettings_, session_.settings(),
                                    QStringLiteral("False"));
}

void ConfWindow::restorePosition() {
    const QRect saved = savedFormRect(session_.settings(), QString::fromLatin1(kFormName), *this);
    move(saved.topLeft());
    resize(saved.size());
}

void ConfWindow::savePosition() {
    saveFormRect(session_.settings(), QString::fromLatin1(kFormName), *this);
}

void ConfWindow::updateStyle() {
    style_ = styleLetters(*tbFontSettings_);
    // Any positive size is taken.
    applyToolbarFont(*txtSendMsg_, *tbFontSettings_, std::numeric_limits<double>::denorm_min(),
                     std::numeric_limits<double>::infinity());
}

void ConfWindow::insertSmilie(const QString& code) {
    if (!txtSendMsg_->isEnabled()) {
        return;
    }
    txtSendMsg_->insertPlainText(code);
    txtSendMsg_->setFocus();
}

MessageView& ConfWindow::messageView() {
    return *brwMessage_;
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
    txtSendMsg_->setEnabled(true);
    cmdSend_->setEnabled(true);
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
    FormatterOptions options;
    options.emote = session_.settings().emote() == 1;
    options.appFolder = session_.appFolder();
    AppendMessageHtml(text, QString::fromLatin1(own ? kOwnColour : kOthersColour), sender, fontName,
                      fontSize, *brwMessage_, style, options);
}

void ConfWindow::onConnectionLost() {
    txtSendMsg_->setEnabled(false);
    cmdSend_->setEnabled(false);
    tvUsers_->clear();
    confName_.clear();
}

void ConfWindow::cmdSend_Click() {
    session_.trap([this] { send(); });
    // A failed send disconnects, and the disconnect leaves sending off.
    if (session_.isConnected() && !confName_.isEmpty()) {
        txtSendMsg_->setEnabled(true);
        cmdSend_->setEnabled(true);
    }
    txtSendMsg_->setFocus();
}

void ConfWindow::send() {
    cmdSend_->setEnabled(false);
    txtSendMsg_->setEnabled(false);
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

void ConfWindow::saveLog() {
    CommonDialog dialog(fileChooser_);
    dialog.setDialogTitle(QStringLiteral("Save Conference Log As..."));
    dialog.setFilter(QStringLiteral("Text Document (*.txt)|*.txt"));
    dialog.setDefaultExt(QStringLiteral("txt"));
    if (dialog.ShowSave(this)) {
        saveTextFile(dialog.FileName(), conversationText(*brwMessage_->document(), headerBlocks_));
    }
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
    session_.trap([this] { savePosition(); });
    event->accept();
}

bool ConfWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == txtSendMsg_ && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            cmdSend_Click();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

} // namespace velmora
