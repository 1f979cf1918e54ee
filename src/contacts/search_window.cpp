#include "contacts/search_window.h"

#include "app/client.h"
#include "contacts/add_buddy_dialog.h"
#include "contacts/profile.h"
#include "contacts/user_name.h"
#include "controls/form_controls.h"
#include "messaging/pm_window.h"
#include "platform/prompter.h"
#include "session/connection.h"

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

SearchUsersWindow::SearchUsersWindow(Client& client)
    : client_(client), txtQuery_(new QLineEdit(this)),
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
        client_.trap([&] { OpenPMWindow(client_, item->text()); });
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
            client_.trap([&] {
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
               [this](const QString& user) { OpenPMWindow(client_, user); });
    addCommand("mnuContextViewProfile", QStringLiteral("View &Profile"),
               [this](const QString& user) { openProfile(client_, user, this); });

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
    client_.trap(QStringLiteral("frmSearchUsers.cmdSearch_Click"), [&] {
        lvResults_->clear();
        setControlsEnabled(false);
        const QString query = txtQuery_->text();
        if (!isValidUserName(query)) {
            setControlsEnabled(true);
            client_.ShowMessage(QStringLiteral("Error: You entered an invalid username format:\r\n"
                                               "Usernames can only contain Alpha-Numberic Chars!"),
                                style::kOk, QString(), this);
            return;
        }
        lblStatus_->setText(QStringLiteral("Searching..."));
        // Nothing sent, no reply comes to enable the window.
        undoOnThrow(
            [this] { setControlsEnabled(true); },
            [&] { client_.connection().SendData(QStringLiteral(" ## cmdSU /:/ ") + query); });
    });
}

void SearchUsersWindow::onSearchReply(const QString& names) {
    lvResults_->clear();
    if (!names.isEmpty()) {
        lvResults_->addItems(names.split(QLatin1Char('%')));
    }
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
    addBuddyUnseen(client_, this, name);
}

SearchUsersWindow* findSearchWindow(Client& client) {
    return client.findWindow<SearchUsersWindow>();
}

SearchUsersWindow& searchWindow(Client& client) {
    if (SearchUsersWindow* open = findSearchWindow(client)) {
        return *open;
    }
    auto* window = new SearchUsersWindow(client);
    client.adoptWindow(window);
    return *window;
}

} // namespace velmora
