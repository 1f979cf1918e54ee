#include "messaging/pm_window.h"

#include "contacts/add_buddy_dialog.h"
#include "controls/font_toolbar.h"
#include "messaging/chat_input.h"
#include "messaging/chat_menus.h"
#include "platform/desktop.h"
#include "platform/html_message_view.h"
#include "platform/prompter.h"
#include "session/desktop_notice.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "transfer/file_sender.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDropEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMenuBar>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QStatusBar>
#include <QUrl>
#include <QVBoxLayout>

namespace velmora {

namespace {

// Every message window shares one saved position and size.
constexpr ChatWindow::Form kForm{"frmPM", QSize(500, 420), "Save IM Log As..."};

QString caption(const QString& name) {
    return name + QLatin1StringView(PMWindow::kCaptionSuffix);
}

PMWindow* findPMWindow(Session& session, const QString& name) {
    return qobject_cast<PMWindow*>(session.findWindowByCaption(caption(name)));
}

} // namespace

PMWindow::PMWindow(Session& session, const QString& recipient)
    : ChatWindow(session, kForm), recipient_(recipient), sbStatus_(new QStatusBar(this)),
      lblStatus_(new QLabel(sbStatus_)) {
    setWindowTitle(caption(recipient));
    cmdSend_->setDefault(true);
    cmdSend_->setMinimumHeight(44);
    sbStatus_->setObjectName(QStringLiteral("sbStatus"));
    // A permanent part of the bar, which the menus' status tips leave alone.
    lblStatus_->setObjectName(QStringLiteral("lblStatus"));
    sbStatus_->addPermanentWidget(lblStatus_, 1);
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
    formLoad();

    if (recipient == QLatin1StringView(kServerUser)) {
        // Nobody answers the server's notices.
        setSendingEnabled(false);
    }
    if (recipient != QLatin1StringView(kServerUser)) {
        brwMessage_->viewport()->installEventFilter(this);
        txtSendMsg_->viewport()->installEventFilter(this);
    }
    txtSendMsg_->setFocus();
}

PMWindow::~PMWindow() = default;

namespace {

// The local files a drag carries; empty when it carries anything else.
QStringList droppedFiles(const QMimeData* data) {
    QStringList paths;
    if (!data || !data->hasUrls()) {
        return paths;
    }
    for (const QUrl& url : data->urls()) {
        if (!url.isLocalFile()) {
            return {};
        }
        paths << url.toLocalFile();
    }
    return paths;
}

} // namespace

bool PMWindow::eventFilter(QObject* watched, QEvent* event) {
    const bool ours = watched == brwMessage_->viewport() || watched == txtSendMsg_->viewport();
    if (ours && (event->type() == QEvent::DragEnter || event->type() == QEvent::DragMove)) {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        if (!droppedFiles(drag->mimeData()).isEmpty()) {
            drag->acceptProposedAction();
            return true;
        }
    }
    if (ours && event->type() == QEvent::Drop) {
        auto* drop = static_cast<QDropEvent*>(event);
        const QStringList paths = droppedFiles(drop->mimeData());
        if (!paths.isEmpty()) {
            drop->acceptProposedAction();
            offerFiles(session_, recipient_, paths);
            return true;
        }
    }
    return ChatWindow::eventFilter(watched, event);
}

void PMWindow::onConnectionRestored() {
    if (recipient_ != QLatin1StringView(kServerUser)) {
        ChatWindow::onConnectionRestored();
    }
}

void PMWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(tr("&File"));
    file->setObjectName(QStringLiteral("mnuFile"));
    addEntry(*file, "mnuFileAddBuddy", tr("&Add to Buddy List..."),
             [this] { addBuddyUnseen(session_, this, recipient_); });
    addEntry(
        *file, "mnuFileSaveLog", tr("&Save Conversation As..."), [this] { saveLog(); },
        QKeySequence::Save);
    addEntry(*file, "mnuFileSendFile", tr("Send &File..."),
             [this] { sendFile(session_, recipient_, this); });
    file->addSeparator();
    addEntry(
        *file, "mnuFileClose", tr("&Close"), [this] { close(); }, QKeySequence::Close);

    addEditMenu();

    addHelpMenu(*menuBar(), session_.frame().actions(), QKeySequence::HelpContents);
}

void PMWindow::cmdSend_Click() {
    session_.trap([this] { send(); });
}

void PMWindow::send() {
    setSendingEnabled(false);
    const QString text = typedText(txtSendMsg_->toPlainText());
    const QPointer<PMWindow> alive(this);
    QCoreApplication::processEvents();
    if (!alive) {
        return;
    }
    if (text.trimmed().isEmpty()) {
        setSendingEnabled(true);
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
    setSendingEnabled(true);
    txtSendMsg_->setFocus();
}

void PMWindow::setStatusText(const QString& text) {
    lblStatus_->setText(text);
}

QString PMWindow::statusText() const {
    return lblStatus_->text();
}

PMWindow* OpenPMWindow(Session& session, const QString& name) {
    return &session.showSingle(findPMWindow(session, name),
                               [&] { return new PMWindow(session, name); });
}

void ReceivePM(Session& session, const QString& sender, const QString& text,
               const QString& fontName, const QString& fontSize, const QString& style) {
    PMWindow* window = findPMWindow(session, sender);
    const bool inFront = window && window->isActiveWindow();
    if (!window) {
        OpenPMWindow(session, sender);
        window = findPMWindow(session, sender);
    }
    if (!window) {
        return;
    }
    QString body = text;
    AppendMessageHtml(body, QLatin1StringView(PMWindow::kOthersColour), sender, fontName, fontSize,
                      window->messageView(), style, formatterOptions(session));
    window->setStatusText(QStringLiteral("Last IM Received: ") +
                          QLocale().toString(QDateTime::currentDateTime(), QLocale::ShortFormat));
    if (!inFront) {
        notifyUser(session, sender, firstLine(text), [&session, sender] {
            session.desktop().bringToFront(OpenPMWindow(session, sender));
        });
    }
    if (session.preferences().newPM == 1) {
        session.desktop().bringToFront(window);
    }
    if (session.preferences().receiveIM.enabled == 1) {
        session.playSoundFile(session.preferences().receiveIM.path);
    }
}

} // namespace velmora
