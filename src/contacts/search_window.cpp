#include "contacts/search_window.h"

#include "contacts/add_buddy_dialog.h"
#include "contacts/profile.h"
#include "controls/form_controls.h"
#include "platform/prompter.h"
#include "session/session.h"
#include "session/user_name.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

SearchUsersWindow::SearchUsersWindow(Session& session)
    : session_(session), txtQuery_(new QLineEdit(this)),
      cmdSearch_(new QPushButton(QStringLiteral("&Search"), this)),
      lvResults_(new QListWidget(this)), lblStatus_(new QLabel(this)),
      mnuContext_(new QMenu(this)) {
    setObjectName(QLatin1String(kFormName));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Search Users"));
    buildForm();

    connect(cmdSearch_, &QPushButton::clicked, this, [this] { cmdSearch_Click(); });
    connect(txtQuery_, &QLineEdit::returnPressed, this, [this] { cmdSearch_Click(); });
    connect(lvResults_, &QListWidget::itemDoubleClicked, this, [this](QListWidgetItem* item) {
        session_.trap([&] { session_.requestConversation(item->text()); });
    });
    connect(lvResults_, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        if (lvResults_->itemAt(at)) {
            mnuContext_->popup(lvResults_->viewport()->mapToGlobal(at));
        }
    });
}

void SearchUsersWindow::buildForm() {
    txtQuery_->setObjectName(QStringLiteral("txtQuery"));
    txtQuery_->setPlaceholderText(QStringLiteral("part of a user name"));
    cmdSearch_->setObjectName(QStringLiteral("cmdSearch"));
    cmdSearch_->setDefault(true);
    lvResults_->setObjectName(QStringLiteral("lvResults"));
    lvResults_->setAccessibleName(QStringLiteral("Search results"));
    lvResults_->setContextMenuPolicy(Qt::CustomContextMenu);
    lvResults_->setSelectionMode(QAbstractItemView::SingleSelection);
    lblStatus_->setObjectName(QStringLiteral("lblStatus"));
    lblStatus_->setFrameShape(QFrame::StyledPanel);
    lblStatus_->setFrameShadow(QFrame::Sunken);

    mnuContext_->setObjectName(QStringLiteral("mnuContext"));
    const auto addCommand = [this](const char* name, const QString& text, auto handler) {
        QAction* action = mnuContext_->addAction(text);
        action->setObjectName(QString::fromLatin1(name));
        connect(action, &QAction::triggered, this, [this, handler] {
            session_.trap([&] {
                const QString user = selectedResult();
                if (!user.isEmpty()) {
                    handler(user);
                }
            });
        });
    };
    addCommand("mnuContextAddAsBuddy", QStringLiteral("&Add as Buddy"),
               [this](const QString& user) { addAsBuddy(user); });
    addCommand("mnuContextSendPM", QStringLiteral("Send &Message"),
               [this](const QString& user) { session_.requestConversation(user); });
    addCommand("mnuContextViewProfile", QStringLiteral("View &Profile"),
               [this](const QString& user) { openProfile(session_, user, this); });

    auto* prompt = new QLabel(QStringLiteral("&Find users whose name contains:"), this);
    prompt->setBuddy(txtQuery_);
    auto* queryRow = new QHBoxLayout;
    queryRow->addWidget(txtQuery_, 1);
    queryRow->addWidget(cmdSearch_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(prompt);
    layout->addLayout(queryRow);
    layout->addWidget(lvResults_, 1);
    layout->addWidget(lblStatus_);
    resize(320, 380);
}

void SearchUsersWindow::setControlsEnabled(bool enabled) {
    setFormControlsEnabled(*this, enabled, mnuContext_);
}

void SearchUsersWindow::cmdSearch_Click() {
    session_.trap(QStringLiteral("frmSearchUsers.cmdSearch_Click"), [&] {
        lvResults_->clear();
        setControlsEnabled(false);
        const QString query = txtQuery_->text();
        if (!isValidUserName(query)) {
            setControlsEnabled(true);
            session_.showMessage(QStringLiteral("Error: You entered an invalid username format:\r\n"
                                                "Usernames can only contain Alpha-Numberic Chars!"),
                                 style::kOk, QString(), this);
            return;
        }
        lblStatus_->setText(QStringLiteral("Searching..."));
        // Nothing sent, no reply comes to enable the window.
        undoOnThrow([this] { setControlsEnabled(true); }, [&] { session_.searchUsers(query); });
    });
}

void SearchUsersWindow::onSearchReply(const QStringList& names) {
    lvResults_->clear();
    lvResults_->addItems(names);
    setControlsEnabled(true);
    lblStatus_->setText(QStringLiteral("[ Search Complete: ") +
                        QString::number(lvResults_->count()) + QStringLiteral(" Match(es)! ]"));
}

QString SearchUsersWindow::selectedResult() const {
    const QList<QListWidgetItem*> selected = lvResults_->selectedItems();
    return selected.isEmpty() ? QString() : selected.first()->text();
}

QString SearchUsersWindow::statusText() const {
    return lblStatus_->text();
}

void SearchUsersWindow::addAsBuddy(const QString& name) {
    addBuddyUnseen(session_, this, name);
}

SearchUsersWindow* findSearchWindow(Session& session) {
    return session.findWindow<SearchUsersWindow>();
}

SearchUsersWindow& searchWindow(Session& session) {
    if (SearchUsersWindow* open = findSearchWindow(session)) {
        return *open;
    }
    auto* window = new SearchUsersWindow(session);
    session.adoptWindow(window);
    return *window;
}

} // namespace velmora
