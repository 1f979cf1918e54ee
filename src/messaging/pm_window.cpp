#include "messaging/pm_window.h"

#include "app/client.h"
#include "contacts/add_buddy_dialog.h"
#include "controls/common_dialog.h"
#include "controls/font_toolbar.h"
#include "messaging/conversation_log.h"
#include "messaging/message_formatter.h"
#include "platform/desktop.h"
#include "platform/html_message_view.h"
#include "platform/ini_file.h"
#include "platform/number_text.h"
#include "platform/prompter.h"
#include "protocol/wire.h"
#include "session/connection.h"
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

// The view's header: the page, then the red warning banner under a thin red
// rule, written in one piece before the first message.
const QString kHeader =
    QStringLiteral("<html>\r\n"
                   "<body Style=\"Margin: 0px;\" SCROLL=\"Auto\" BGCOLOR=\"#FFFFFF\" "
                   "OnContextMenu=\"javascript: return true;\">\r\n"
                   "<font name=\"MS Sans Serif\" size=\"3\" color=\"#FF0000\">"
                   "Remember: You should never give out personal information online!</font>\r\n"
                   "<hr color=\"#FF0000\" size=\"1\">\r\n"
                   "<br>\r\n");

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

// Typed "%%" is the space marker of the wire form, so it is taken as a space;
// runs of spaces shrink to one.
QString typedText(QString text) {
    text.replace(QLatin1StringView("%%"), QLatin1StringView(" "));
    while (text.contains(QLatin1StringView("  "))) {
        text.replace(QLatin1StringView("  "), QLatin1StringView(" "));
    }
    return text;
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
    connect(addAction(edit, "mnuEditCut", tr("Cu&t")), &QAction::triggered, txtSendMsg_,
            &QPlainTextEdit::cut);
    // Copy takes the conversation's selection when there is one.
    connect(addAction(edit, "mnuEditCopy", tr("&Copy")), &QAction::triggered, this, [this] {
        if (brwMessage_->textCursor().hasSelection()) {
            brwMessage_->copy();
        } else {
            txtSendMsg_->copy();
        }
    });
    connect(addAction(edit, "mnuEditPaste", tr("&Paste")), &QAction::triggered, txtSendMsg_,
            &QPlainTextEdit::paste);
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
    struct Toggle {
        const char* name;
        QString text;
        FontToolbar::Style style;
        void (FontToolbar::*set)(bool);
    };
    const Toggle toggles[] = {
        {"mnuEditBold", tr("&Bold"), FontToolbar::Style::Bold, &FontToolbar::setBold},
        {"mnuEditItalic", tr("&Italic"), FontToolbar::Style::Italic, &FontToolbar::setItalic},
        {"mnuEditUnderlined", tr("&Underlined"), FontToolbar::Style::Underlined,
         &FontToolbar::setUnderlined},
    };
    for (const Toggle& toggle : toggles) {
        QAction* action = addAction(edit, toggle.name, toggle.text);
        action->setCheckable(true);
        connect(action, &QAction::triggered, this, [this, set = toggle.set](bool on) {
            client_.trap([&] { (tbFontSettings_->*set)(on); });
        });
        connect(tbFontSettings_, &FontToolbar::FontStyleChanged, action,
                [action, style = toggle.style](FontToolbar::Style changed, bool on) {
                    if (changed == style) {
                        action->setChecked(on);
                    }
                });
    }

    QMenu* help = menuBar()->addMenu(tr("&Help"));
    help->setObjectName(QStringLiteral("mnuHelp"));
    // The same help and about box as the main window's.
    auto mainAction = [this](const char* name) {
        return [this, name] {
            if (auto* action = client_.mainWindow().findChild<QAction*>(QLatin1StringView(name))) {
                action->trigger();
            }
        };
    };
    connect(addAction(help, "mnuHelpHelp", tr("&Help Contents"), QKeySequence::HelpContents),
            &QAction::triggered, this, mainAction("mnuHelpHelp"));
    connect(addAction(help, "mnuHelpAbout", tr("&About Velmora")), &QAction::triggered, this,
            mainAction("mnuHelpAbout"));
}

void PMWindow::restorePosition() {
    const QString name = QLatin1StringView(kFormName);
    const Settings& settings = client_.settings();
    const int left = settings.formPos(name, QLatin1StringView(edge::kLeft), x());
    const int top = settings.formPos(name, QLatin1StringView(edge::kTop), y());
    const int height = settings.formPos(name, QLatin1StringView(edge::kHeight), this->height());
    const int width = settings.formPos(name, QLatin1StringView(edge::kWidth), this->width());
    // Untouched, a window never saved is placed where the desktop puts it.
    if (QPoint(left, top) != pos()) {
        move(left, top);
    }
    if (QSize(width, height) != size()) {
        resize(width, height);
    }
}

void PMWindow::savePosition() {
    const QString name = QLatin1StringView(kFormName);
    Settings& settings = client_.settings();
    settings.setFormPos(name, QLatin1StringView(edge::kLeft), x());
    settings.setFormPos(name, QLatin1StringView(edge::kTop), y());
    settings.setFormPos(name, QLatin1StringView(edge::kHeight), height());
    settings.setFormPos(name, QLatin1StringView(edge::kWidth), width());
}

void PMWindow::closeEvent(QCloseEvent* event) {
    client_.trap([this] { savePosition(); });
    QMainWindow::closeEvent(event);
}

void PMWindow::updateStyle() {
    style_.clear();
    if (tbFontSettings_->Bold()) {
        style_ += QLatin1Char('B');
    }
    if (tbFontSettings_->Italic()) {
        style_ += QLatin1Char('I');
    }
    if (tbFontSettings_->Underlined()) {
        style_ += QLatin1Char('U');
    }
}

void PMWindow::applyInputFont() {
    QFont font = txtSendMsg_->font();
    font.setFamily(tbFontSettings_->FontName());
    bool ok = false;
    const double size = tbFontSettings_->FontSize().toDouble(&ok);
    // A size still being typed ("", "1") keeps the last usable one.
    if (ok && size >= 1 && size <= 400) {
        font.setPointSizeF(size);
    }
    font.setBold(tbFontSettings_->Bold());
    font.setItalic(tbFontSettings_->Italic());
    font.setUnderline(tbFontSettings_->Underlined());
    txtSendMsg_->setFont(font);
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
    QString text = typedText(txtSendMsg_->toPlainText());
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
    // The input box breaks lines with "\n"; messages carry CR LF.
    text.replace(QLatin1StringView("\r\n"), QLatin1StringView("\n"));
    text.replace(QLatin1StringView("\n"), QLatin1StringView("\r\n"));
    text.replace(QLatin1Char(' '), QLatin1StringView("%%"));

    const QFont font = txtSendMsg_->font();
    const QString fontName = font.family();
    const QString fontSize = QString::number(font.pointSizeF());
    const QString own = client_.session().userName;
    // A message to oneself is only shown.
    if (recipient_.toUpper() != own.toUpper()) {
        client_.connection().SendData(pmCommand(own, recipient_, text, fontName, fontSize, style_));
    }
    AppendMessageHtml(text, QLatin1StringView(kOwnColour), own, fontName, fontSize, *brwMessage_,
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
    // The add-buddy dialog owns the checks and the command; it runs unseen
    // with the recipient's name, and only its boxes show.
    QPointer<AddBuddyDialog> dialog = new AddBuddyDialog(client_, this);
    dialog->findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(recipient_);
    dialog->cmdAddBuddy_Click();
    delete dialog.data();
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
    HtmlMessageView& view = window.brwMessage();
    view.clear();
    view.write(kHeader);
    window.headerBlocks_ = view.document()->blockCount();

    FontToolbar& toolbar = window.tbFontSettings();
    const Settings& settings = client.settings();
    toolbar.setFontName(settings.fontName());
    toolbar.setFontSize(settings.fontSize());
    // The message window has always read the styles with "10" as the
    // default, so a style missing from the file is switched on.
    const QString path = settings.path();
    const QString on = QStringLiteral("10");
    const QString section = QStringLiteral("Font");
    toolbar.setBold(number_text::toBool(IniFile::read(section, QStringLiteral("Bold"), on, path)));
    toolbar.setItalic(
        number_text::toBool(IniFile::read(section, QStringLiteral("Italic"), on, path)));
    toolbar.setUnderlined(
        number_text::toBool(IniFile::read(section, QStringLiteral("Underlined"), on, path)));
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
