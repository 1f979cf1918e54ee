#include "messaging/pm_window.h"

#include "app/client.h"
#include "contacts/add_buddy_dialog.h"
#include "controls/common_dialog.h"
#include "controls/font_toolbar.h"
#include "messaging/chat_input.h"
#include "messaging/chat_menus.h"
#include "messaging/conversation_log.h"
#include "messaging/message_formatter.h"
#include "messaging/message_view_init.h"
#include "platform/desktop.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "protocol/wire.h"
#include "session/connection.h"
#include "shell/form_position.h"
#include "shell/main_window.h"
#include "transfer/file_sender.h"

#include <QAction>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateTime>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocale>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QTextDocument>
#include <QVBoxLayout>

namespace velmora {

namespace {

FormatterOptions formatterOptions(Client& client) {
    return FormatterOptions{client.values().emote == 1, client.appFolder()};
}

QString caption(const QString& name) {
    return name + QLatin1StringView(PMWindow::kCaptionSuffix);
}

QString pmCommand(const QString& own, const QString& recipient, const QString& text,
                  const QString& fontName, const QString& fontSize, const QString& style) {
    return QString::fromStdString(protocol::buildCommand(
        protocol::kHeadPM, {own.toStdString(), recipient.toStdString(), text.toStdString(),
                            fontName.toStdString(), fontSize.toStdString(), style.toStdString()}));
}

} // namespace

PMWindow::PMWindow(Client& client, const QString& recipient)
    : client_(client), recipient_(recipient), brwMessage_(new HtmlMessageView(client.desktop())),
      tbFontSettings_(new FontToolbar), txtSendMsg_(new QPlainTextEdit),
      cmdSend_(new QPushButton(tr("&Send"))), sbStatus_(new QStatusBar(this)) {
    setObjectName(QLatin1StringView(kFormName));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(caption(recipient));
    resize(500, 420);

    brwMessage_->setObjectName(QStringLiteral("brwMessage"));
    tbFontSettings_->setObjectName(QStringLiteral("tbFontSettings"));
    tbFontSettings_->loadSmilies(client.appFolder());
    txtSendMsg_->setObjectName(QStringLiteral("txtSendMsg"));
    txtSendMsg_->setTabChangesFocus(true);
    txtSendMsg_->installEventFilter(this);
    cmdSend_->setObjectName(QStringLiteral("cmdSend"));
    cmdSend_->setDefault(true);
    cmdSend_->setMinimumHeight(44);
    sbStatus_->setObjectName(QStringLiteral("sbStatus"));
    setStatusBar(sbStatus_);

    auto* composer = new QWidget;
    auto* composerLayout = new QVBoxLayout(composer);
    composerLayout->setContentsMargins(0, 4, 0, 0);
    composerLayout->setSpacing(4);
    composerLayout->addWidget(tbFontSettings_);
    auto* inputRow = new QHBoxLayout;
    inputRow->setSpacing(6);
    inputRow->addWidget(txtSendMsg_, 1);
    inputRow->addWidget(cmdSend_, 0, Qt::AlignTop);
    composerLayout->addLayout(inputRow, 1);

    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(brwMessage_);
    splitter->addWidget(composer);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 0);
    splitter->setSizes({300, 100});

    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(6, 6, 6, 2);
    layout->addWidget(splitter);
    setCentralWidget(central);

    buildMenus();

    connect(cmdSend_, &QPushButton::clicked, this, &PMWindow::cmdSend_Click);
    connect(tbFontSettings_, &FontToolbar::FontStyleChanged, this, [this] {
        client_.trap([this] {
            updateStyle();
            applyInputFont();
        });
    });
    connect(tbFontSettings_, &FontToolbar::FontNameChanged, this,
            [this] { client_.trap([this] { applyInputFont(); }); });
    connect(tbFontSettings_, &FontToolbar::FontSizeChanged, this,
            [this] { client_.trap([this] { applyInputFont(); }); });
    connect(tbFontSettings_, &FontToolbar::SmilieClick, this,
            [this](const QString& code) { client_.trap([&] { insertSmilie(code); }); });

    client_.trap([this] { InitMessageView(client_, *this); });
    client_.trap([this] { restorePosition(); });
    updateStyle();
    applyInputFont();

    if (recipient == QLatin1StringView(kServerUser)) {
        // Nobody answers the server's notices.
        txtSendMsg_->setEnabled(false);
        cmdSend_->setEnabled(false);
    }
    txtSendMsg_->setFocus();
}

PMWindow::~PMWindow() = default;

MessageView& PMWindow::messageView() {
    return *brwMessage_;
}

void PMWindow::onConnectionLost() {
    txtSendMsg_->setEnabled(false);
    cmdSend_->setEnabled(false);
}

void PMWindow::buildMenus() {
    auto addAction = [this](QMenu* menu, const char* name, const QString& text,
                            const QKeySequence& keys = QKeySequence()) {
        QAction* action = menu->addAction(text);
        action->setObjectName(QLatin1StringView(name));
        action->setShortcut(keys);
        return action;
    };
    auto trapped = [this](void (PMWindow::*handler)()) {
        return [this, handler] { client_.trap([this, handler] { (this->*handler)(); }); };
    };

    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    connect(addAction(file, "mnuFileAddBuddy", tr("&Add to Buddy List...")), &QAction::triggered,
            this, trapped(&PMWindow::addRecipientAsBuddy));
    connect(addAction(file, "mnuFileSaveLog", tr("&Save Conversation As..."), QKeySequence::Save),
            &QAction::triggered, this, trapped(&PMWindow::saveLog));
    connect(addAction(file, "mnuFileSendFile", tr("Send &File...")), &QAction::triggered, this,
            [this] { client_.trap([this] { findFileSender(client_, recipient_); }); });
    file->addSeparator();
    connect(addAction(file, "mnuFileClose", tr("&Close"), QKeySequence::Close), &QAction::triggered,
            this, &QWidget::close);

    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    addClipboardActions(*edit, *brwMessage_, *txtSendMsg_);
    edit->addSeparator();
    connect(addAction(edit, "mnuEditSelectAll", tr("Select &All")), &QAction::triggered,
            txtSendMsg_, &QPlainTextEdit::selectAll);
    connect(addAction(edit, "mnuEditFind", tr("&Find..."), QKeySequence::Find), &QAction::triggered,
            this, trapped(&PMWindow::askAndFind));
    edit->addSeparator();
    auto openList = [this](const char* name) {
        return [this, name] {
            if (auto* list = tbFontSettings_->findChild<QComboBox*>(QLatin1StringView(name))) {
                list->setFocus();
                list->showPopup();
            }
        };
    };
    connect(addAction(edit, "mnuEditFontName", tr("Font &Name...")), &QAction::triggered, this,
            openList("cboFontName"));
    connect(addAction(edit, "mnuEditFontSize", tr("Font Si&ze...")), &QAction::triggered, this,
            openList("cboFontSize"));
    addStyleToggles(*edit, *tbFontSettings_);

    addHelpMenu(*menuBar(), client_.mainWindow(), QKeySequence::HelpContents);
}

void PMWindow::restorePosition() {
    const QRect saved = savedFormRect(client_.settings(), QLatin1StringView(kFormName), *this);
    // Untouched, a window never saved is placed where the desktop puts it.
    if (saved.topLeft() != pos()) {
        move(saved.topLeft());
    }
    if (saved.size() != size()) {
        resize(saved.size());
    }
}

void PMWindow::savePosition() {
    saveFormRect(client_.settings(), QLatin1StringView(kFormName), *this);
}

void PMWindow::closeEvent(QCloseEvent* event) {
    client_.trap([this] { savePosition(); });
    QMainWindow::closeEvent(event);
}

void PMWindow::updateStyle() {
    style_ = styleLetters(*tbFontSettings_);
}

void PMWindow::applyInputFont() {
    // A size still being typed ("", "1") keeps the last usable one.
    applyToolbarFont(*txtSendMsg_, *tbFontSettings_, 1, 400);
}

void PMWindow::insertSmilie(const QString& code) {
    if (!txtSendMsg_->isEnabled()) {
        return;
    }
    txtSendMsg_->insertPlainText(code);
    txtSendMsg_->setFocus();
}

bool PMWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == txtSendMsg_ && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
            cmdSend_Click();
            return true;
        }
        if (key->matches(QKeySequence::SelectAll)) {
            txtSendMsg_->selectAll();
            return true;
        }
    }
    return QMainWindow::eventFilter(watched, event);
}

void PMWindow::cmdSend_Click() {
    client_.trap([this] { send(); });
}

void PMWindow::send() {
    cmdSend_->setEnabled(false);
    txtSendMsg_->setEnabled(false);
    const QString text = typedText(txtSendMsg_->toPlainText());
    const QPointer<PMWindow> alive(this);
    QCoreApplication::processEvents();
    if (!alive) {
        return;
    }
    if (text.trimmed().isEmpty()) {
        txtSendMsg_->setEnabled(true);
        cmdSend_->setEnabled(true);
        client_.prompter().beep();
        txtSendMsg_->setFocus();
        return;
    }
    QString wire = wireText(text);

    const QFont font = txtSendMsg_->font();
    const QString fontName = font.family();
    const QString fontSize = QString::number(font.pointSizeF());
    const QString own = client_.session().userName;
    // A message to oneself is only shown.
    if (recipient_.toUpper() != own.toUpper()) {
        client_.connection().SendData(pmCommand(own, recipient_, wire, fontName, fontSize, style_));
    }
    AppendMessageHtml(wire, QLatin1StringView(kOwnColour), own, fontName, fontSize, *brwMessage_,
                      style_, formatterOptions(client_));

    txtSendMsg_->clear();
    txtSendMsg_->setEnabled(true);
    cmdSend_->setEnabled(true);
    txtSendMsg_->setFocus();
}

QString PMWindow::conversationLog() const {
    return conversationText(*brwMessage_->document(), headerBlocks_);
}

void PMWindow::saveLog() {
    CommonDialog dialog(fileChooser_);
    dialog.setDefaultExt(QStringLiteral("txt"));
    dialog.setDialogTitle(QStringLiteral("Save IM Log As..."));
    dialog.setFilter(QStringLiteral("Text Document (*.txt)|*.txt"));
    if (!dialog.ShowSave(this)) {
        return;
    }
    saveTextFile(dialog.FileName(), conversationLog());
}

bool PMWindow::findInConversation(const QString& text) {
    if (text.isEmpty()) {
        return false;
    }
    if (brwMessage_->find(text)) {
        return true;
    }
    QTextCursor top = brwMessage_->textCursor();
    top.movePosition(QTextCursor::Start);
    brwMessage_->setTextCursor(top);
    return brwMessage_->find(text);
}

void PMWindow::askAndFind() {
    bool ok = false;
    const QString text = QInputDialog::getText(this, tr("Find"), tr("Find what:"),
                                               QLineEdit::Normal, QString(), &ok);
    if (ok && !findInConversation(text)) {
        client_.prompter().beep();
    }
}

void PMWindow::addRecipientAsBuddy() {
    addBuddyUnseen(client_, this, recipient_);
}

PMWindow* OpenPMWindow(Client& client, const QString& name) {
    if (auto* open = qobject_cast<PMWindow*>(client.findWindowByCaption(caption(name)))) {
        client.desktop().bringToFront(open);
        return open;
    }
    auto* window = new PMWindow(client, name);
    client.adoptWindow(window);
    window->show();
    return window;
}

void InitMessageView(Client& client, PMWindow& window) {
    // The message window has always read the styles with "10" as the
    // default, so a style missing from the file is switched on.
    window.headerBlocks_ = InitMessageView(window.brwMessage(), window.tbFontSettings(),
                                           client.settings(), QStringLiteral("10"));
}

void ReceivePM(Client& client, const QString& sender, const QString& text, const QString& fontName,
               const QString& fontSize, const QString& style) {
    auto* window = qobject_cast<PMWindow*>(client.findWindowByCaption(caption(sender)));
    if (!window) {
        OpenPMWindow(client, sender);
        window = qobject_cast<PMWindow*>(client.findWindowByCaption(caption(sender)));
    }
    if (!window) {
        return;
    }
    QString body = text;
    AppendMessageHtml(body, QLatin1StringView(PMWindow::kReceivedColour), sender, fontName,
                      fontSize, window->messageView(), style, formatterOptions(client));
    window->sbStatus().showMessage(
        QStringLiteral("Last IM Received: ") +
        QLocale().toString(QDateTime::currentDateTime(), QLocale::ShortFormat));
    if (client.values().newPM == 1) {
        client.desktop().bringToFront(window);
    }
    if (client.values().receiveIM.enabled == 1) {
        client.PlaySoundFile(client.values().receiveIM.path);
    }
}

} // namespace velmora
