#include "messaging/pm_window.h"

#include "contacts/add_buddy_dialog.h"
#include "controls/common_dialog.h"
#include "controls/font_toolbar.h"
#include "controls/form_position.h"
#include "messaging/chat_input.h"
#include "messaging/chat_menus.h"
#include "messaging/conversation_log.h"
#include "messaging/message_formatter.h"
#include "messaging/message_view_init.h"
#include "platform/desktop.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "session/main_frame.h"
#include "session/session.h"
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

FormatterOptions formatterOptions(Session& session) {
    return FormatterOptions{session.preferences().emote == 1, session.appFolder()};
}

QString caption(const QString& name) {
    return name + QLatin1StringView(PMWindow::kCaptionSuffix);
}

} // namespace

PMWindow::PMWindow(Session& session, const QString& recipient)
    : session_(session), recipient_(recipient), brwMessage_(new HtmlMessageView(session.desktop())),
      tbFontSettings_(new FontToolbar), txtSendMsg_(new QPlainTextEdit),
      cmdSend_(new QPushButton(tr("&Send"))), sbStatus_(new QStatusBar(this)) {
    setObjectName(QLatin1StringView(kFormName));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(caption(recipient));
    resize(500, 420);

    brwMessage_->setObjectName(QStringLiteral("brwMessage"));
    tbFontSettings_->setObjectName(QStringLiteral("tbFontSettings"));
    tbFontSettings_->loadSmilies(session.appFolder());
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
        session_.trap([this] {
            updateStyle();
            applyInputFont();
        });
    });
    connect(tbFontSettings_, &FontToolbar::FontNameChanged, this,
            [this] { session_.trap([this] { applyInputFont(); }); });
    connect(tbFontSettings_, &FontToolbar::FontSizeChanged, this,
            [this] { session_.trap([this] { applyInputFont(); }); });
    connect(tbFontSettings_, &FontToolbar::SmilieClick, this,
            [this](const QString& code) { session_.trap([&] { insertSmilie(code); }); });

    session_.trap([this] { InitMessageView(session_, *this); });
    session_.trap([this] { restorePosition(); });
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
        return [this, handler] { session_.trap([this, handler] { (this->*handler)(); }); };
    };

    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    connect(addAction(file, "mnuFileAddBuddy", tr("&Add to Buddy List...")), &QAction::triggered,
            this, trapped(&PMWindow::addRecipientAsBuddy));
    connect(addAction(file, "mnuFileSaveLog", tr("&Save Conversation As..."), QKeySequence::Save),
            &QAction::triggered, this, trapped(&PMWindow::saveLog));
    connect(addAction(file, "mnuFileSendFile", tr("Send &File...")), &QAction::triggered, this,
            [this] { session_.trap([this] { findFileSender(session_, recipient_); }); });
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

    addHelpMenu(*menuBar(), session_.frame().actions(), QKeySequence::HelpContents);
}

void PMWindow::restorePosition() {
    const QRect saved = savedFormRect(session_.settings(), QLatin1StringView(kFormName), *this);
    // Untouched, a window never saved is placed where the desktop puts it.
    if (saved.topLeft() != pos()) {
        move(saved.topLeft());
    }
    if (saved.size() != size()) {
        resize(saved.size());
    }
}

void PMWindow::savePosition() {
    saveFormRect(session_.settings(), QLatin1StringView(kFormName), *this);
}

void PMWindow::closeEvent(QCloseEvent* event) {
    session_.trap([this] { savePosition(); });
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
    session_.trap([this] { send(); });
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
        session_.prompter().beep();
        txtSendMsg_->setFocus();
        return;
    }
    QString wire = wireText(text);

    const QFont font = txtSendMsg_->font();
    const QString fontName = font.family();
    const QString fontSize = QString::number(font.pointSizeF());
    const QString own = session_.values().userName;
    // A message to oneself is only shown.
    if (recipient_.toUpper() != own.toUpper()) {
        session_.sendPrivateMessage(recipient_, wire, fontName, fontSize, style_);
    }
    AppendMessageHtml(wire, QLatin1StringView(kOwnColour), own, fontName, fontSize, *brwMessage_,
                      style_, formatterOptions(session_));

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
        session_.prompter().beep();
    }
}

void PMWindow::addRecipientAsBuddy() {
    addBuddyUnseen(session_, this, recipient_);
}

PMWindow* OpenPMWindow(Session& session, const QString& name) {
    if (auto* open = qobject_cast<PMWindow*>(session.findWindowByCaption(caption(name)))) {
        session.desktop().bringToFront(open);
        return open;
    }
    auto* window = new PMWindow(session, name);
    session.adoptWindow(window);
    window->show();
    return window;
}

void InitMessageView(Session& session, PMWindow& window) {
    // The message window has always read the styles with "10" as the
    // default, so a style missing from the file is switched on.
    window.headerBlocks_ = InitMessageView(window.brwMessage(), window.tbFontSettings(),
                                           session.settings(), QStringLiteral("10"));
}

void ReceivePM(Session& session, const QString& sender, const QString& text,
               const QString& fontName, const QString& fontSize, const QString& style) {
    auto* window = qobject_cast<PMWindow*>(session.findWindowByCaption(caption(sender)));
    if (!window) {
        OpenPMWindow(session, sender);
        window = qobject_cast<PMWindow*>(session.findWindowByCaption(caption(sender)));
    }
    if (!window) {
        return;
    }
    QString body = text;
    AppendMessageHtml(body, QLatin1StringView(PMWindow::kReceivedColour), sender, fontName,
                      fontSize, window->messageView(), style, formatterOptions(session));
    window->sbStatus().showMessage(
        QStringLiteral("Last IM Received: ") +
        QLocale().toString(QDateTime::currentDateTime(), QLocale::ShortFormat));
    if (session.preferences().newPM == 1) {
        session.desktop().bringToFront(window);
    }
    if (session.preferences().receiveIM.enabled == 1) {
        session.playSoundFile(session.preferences().receiveIM.path);
    }
}

} // namespace velmora
