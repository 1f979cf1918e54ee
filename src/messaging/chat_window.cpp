#include "messaging/chat_window.h"

#include "controls/common_dialog.h"
#include "controls/font_toolbar.h"
#include "controls/form_position.h"
#include "controls/spell_highlighter.h"
#include "messaging/chat_menus.h"
#include "messaging/conversation_log.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "session/session.h"
#include "settings/settings.h"

#include <QAction>
#include <QCloseEvent>
#include <QComboBox>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextDocument>

#include <utility>

namespace velmora {

namespace {

// The page, then the red warning banner under a thin red rule, written in
// one piece before the first message.
const QString kHeader =
    QStringLiteral("<html>\r\n"
                   "<body Style=\"Margin: 0px;\" SCROLL=\"Auto\" BGCOLOR=\"#FFFFFF\" "
                   "OnContextMenu=\"javascript: return true;\">\r\n"
                   "<font name=\"MS Sans Serif\" size=\"3\" color=\"#FF0000\">"
                   "Remember: You should never give out personal information online!</font>\r\n"
                   "<hr color=\"#FF0000\" size=\"1\">\r\n"
                   "<br>\r\n");

// Clears the view, writes the header and sets the toolbar to the default
// message font of the settings. Returns the number of blocks the header
// takes, which a saved log leaves out.
int InitMessageView(HtmlMessageView& view, FontToolbar& toolbar, const Settings& settings) {
    // Both chat windows read a missing Bold, Italic or Underlined key as
    // "10", which turns the style on.
    const QString styleDefault = QStringLiteral("10");
    view.clear();
    view.write(kHeader);
    const int headerBlocks = view.document()->blockCount();

    toolbar.setFontName(settings.fontName());
    toolbar.setFontSize(settings.fontSize());
    toolbar.setBold(settings.fontBold(styleDefault));
    toolbar.setItalic(settings.fontItalic(styleDefault));
    toolbar.setUnderlined(settings.fontUnderlined(styleDefault));
    return headerBlocks;
}

QString styleLetters(const FontToolbar& toolbar) {
    QString letters;
    if (toolbar.Bold()) {
        letters += QLatin1Char('B');
    }
    if (toolbar.Italic()) {
        letters += QLatin1Char('I');
    }
    if (toolbar.Underlined()) {
        letters += QLatin1Char('U');
    }
    return letters;
}

} // namespace

FormatterOptions formatterOptions(const Session& session) {
    return FormatterOptions{session.preferences().emote == 1, session.appFolder()};
}

ChatWindow::ChatWindow(Session& session, const Form& form)
    : session_(session), brwMessage_(new HtmlMessageView(session.desktop(), this)),
      tbFontSettings_(new FontToolbar(this)), txtSendMsg_(new QPlainTextEdit(this)),
      cmdSend_(new QPushButton(tr("&Send"), this)), form_(form) {
    setObjectName(QLatin1StringView(form.name));
    // A closed window is gone: the rooms keep a guarded pointer, and a
    // message for the same user opens a fresh conversation.
    setAttribute(Qt::WA_DeleteOnClose);
    resize(form.size);

    brwMessage_->setObjectName(QStringLiteral("brwMessage"));
    brwMessage_->setAccessibleName(QStringLiteral("Conversation"));
    tbFontSettings_->setObjectName(QStringLiteral("tbFontSettings"));
    tbFontSettings_->loadSmilies(session.appFolder());
    txtSendMsg_->setObjectName(QStringLiteral("txtSendMsg"));
    txtSendMsg_->setAccessibleName(QStringLiteral("Message"));
    txtSendMsg_->setTabChangesFocus(true);
    txtSendMsg_->installEventFilter(this);
    new SpellHighlighter(*txtSendMsg_, session.spellChecker());
    cmdSend_->setObjectName(QStringLiteral("cmdSend"));

    connect(cmdSend_, &QPushButton::clicked, this, [this] { cmdSend_Click(); });
    const auto follow = [this] { session_.trap([this] { followToolbar(); }); };
    connect(tbFontSettings_, &FontToolbar::FontStyleChanged, this, follow);
    connect(tbFontSettings_, &FontToolbar::FontNameChanged, this, follow);
    connect(tbFontSettings_, &FontToolbar::FontSizeChanged, this, follow);
    connect(tbFontSettings_, &FontToolbar::SmilieClick, this,
            [this](const QString& code) { session_.trap([&] { insertSmilie(code); }); });
}

ChatWindow::~ChatWindow() = default;

void ChatWindow::formLoad() {
    session_.trap([this] {
        headerBlocks_ = InitMessageView(*brwMessage_, *tbFontSettings_, session_.settings());
    });
    session_.trap([this] { restorePosition(); });
    followToolbar();
}

MessageView& ChatWindow::messageView() {
    return *brwMessage_;
}

void ChatWindow::setSendingEnabled(bool on) {
    // The button goes first, so that the input box's focus does not pass to it.
    if (on) {
        txtSendMsg_->setEnabled(true);
        cmdSend_->setEnabled(true);
    } else {
        cmdSend_->setEnabled(false);
        txtSendMsg_->setEnabled(false);
    }
}

void ChatWindow::onConnectionLost() {
    // Disabling the input box passes its focus on within the window; whether
    // it had it is what brings the caret back once the connection does.
    if (txtSendMsg_->isEnabled()) {
        inputHadFocus_ = focusWidget() == txtSendMsg_;
    }
    setSendingEnabled(false);
}

void ChatWindow::onConnectionRestored() {
    setSendingEnabled(true);
    restoreInputFocus();
}

void ChatWindow::restoreInputFocus() {
    // In the window in front the caret shows at once; in another, it waits
    // in the input box for the user to come back.
    const bool hadFocus = std::exchange(inputHadFocus_, false);
    if (txtSendMsg_->isEnabled() && (hadFocus || isActiveWindow())) {
        txtSendMsg_->setFocus();
    }
}

QAction* ChatWindow::addEntry(QMenu& menu, const char* name, const QString& text,
                              std::function<void()> handler, const QKeySequence& keys) {
    QAction* action = menu.addAction(text);
    action->setObjectName(QLatin1StringView(name));
    action->setShortcut(keys);
    connect(action, &QAction::triggered, this,
            [this, handler = std::move(handler)] { session_.trap(handler); });
    return action;
}

void ChatWindow::addEditMenu() {
    QMenu* edit = menuBar()->addMenu(tr("&Edit"));
    edit->setObjectName(QStringLiteral("mnuEdit"));
    addClipboardActions(*edit, *brwMessage_, *txtSendMsg_);
    edit->addSeparator();
    addEntry(*edit, "mnuEditSelectAll", tr("Select &All"), [this] { txtSendMsg_->selectAll(); });
    addEntry(
        *edit, "mnuEditFind", tr("&Find..."), [this] { askAndFind(); }, QKeySequence::Find);
    edit->addSeparator();
    auto openList = [this](const char* name) {
        return [this, name] {
            if (auto* list = tbFontSettings_->findChild<QComboBox*>(QLatin1StringView(name))) {
                list->setFocus();
                list->showPopup();
            }
        };
    };
    addEntry(*edit, "mnuEditFontName", tr("Font &Name..."), openList("cboFontName"));
    addEntry(*edit, "mnuEditFontSize", tr("Font Si&ze..."), openList("cboFontSize"));
    addStyleToggles(*edit, *tbFontSettings_);
}

bool ChatWindow::findInConversation(const QString& text) {
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

void ChatWindow::askAndFind() {
    bool ok = false;
    const QString text = QInputDialog::getText(this, tr("Find"), tr("Find what:"),
                                               QLineEdit::Normal, QString(), &ok);
    if (ok && !findInConversation(text)) {
        session_.prompter().beep();
    }
}

void ChatWindow::restorePosition() {
    const QRect saved = savedFormRect(session_.settings(), QLatin1StringView(form_.name), *this);
    // Untouched, a window never saved is placed where the desktop puts it.
    if (saved.topLeft() != pos()) {
        move(saved.topLeft());
    }
    if (saved.size() != size()) {
        resize(saved.size());
    }
}

void ChatWindow::closeEvent(QCloseEvent* event) {
    session_.trap(
        [this] { saveFormRect(session_.settings(), QLatin1StringView(form_.name), *this); });
    QMainWindow::closeEvent(event);
}

void ChatWindow::followToolbar() {
    style_ = styleLetters(*tbFontSettings_);
    QFont font = txtSendMsg_->font();
    font.setFamily(tbFontSettings_->FontName());
    // A size still being typed ("", "1" on the way to "12") or out of reason
    // keeps the last usable one.
    bool ok = false;
    const double size = tbFontSettings_->FontSize().toDouble(&ok);
    if (ok && size >= 1 && size <= 400) {
        font.setPointSizeF(size);
    }
    font.setBold(tbFontSettings_->Bold());
    font.setItalic(tbFontSettings_->Italic());
    font.setUnderline(tbFontSettings_->Underlined());
    txtSendMsg_->setFont(font);
}

void ChatWindow::insertSmilie(const QString& code) {
    if (!txtSendMsg_->isEnabled()) {
        return;
    }
    txtSendMsg_->insertPlainText(code);
    txtSendMsg_->setFocus();
}

bool ChatWindow::eventFilter(QObject* watched, QEvent* event) {
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

QString ChatWindow::conversationLog() const {
    return conversationText(*brwMessage_->document(), headerBlocks_);
}

void ChatWindow::saveLog() {
    CommonDialog dialog(fileChooser_);
    dialog.setDefaultExt(QStringLiteral("txt"));
    dialog.setDialogTitle(QLatin1StringView(form_.logTitle));
    dialog.setFilter(QStringLiteral("Text Document (*.txt)|*.txt"));
    if (dialog.ShowSave(this)) {
        saveTextFile(dialog.FileName(), conversationLog());
    }
}

} // namespace velmora
