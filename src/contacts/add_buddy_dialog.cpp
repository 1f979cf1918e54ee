#include "contacts/add_buddy_dialog.h"

#include "controls/buddy_list.h"
#include "controls/form_controls.h"
#include "controls/image_list.h"
#include "platform/prompter.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "session/user_name.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTreeWidgetItem>
#include <QVBoxLayout>

namespace velmora {

AddBuddyDialog::AddBuddyDialog(Session& session, QWidget* owner)
    : QDialog(owner), session_(session), txtUName_(new QLineEdit(this)),
      cmdAddBuddy_(new QPushButton(QStringLiteral("&Add Buddy"), this)),
      cmdExit_(new QPushButton(QStringLiteral("&Close"), this)) {
    setObjectName(QStringLiteral("frmAddBuddy"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Add a Buddy"));
    setWindowIcon(images::mainImage(images::kOnlineBuddy));
    txtUName_->setObjectName(QStringLiteral("txtUName"));
    txtUName_->setPlaceholderText(QStringLiteral("user name"));
    cmdAddBuddy_->setObjectName(QStringLiteral("cmdAddBuddy"));
    cmdAddBuddy_->setDefault(true);
    cmdExit_->setObjectName(QStringLiteral("cmdExit"));

    auto* prompt = new QLabel(QStringLiteral("Enter the user name of the buddy to add:"), this);
    prompt->setBuddy(txtUName_);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdAddBuddy_);
    buttons->addWidget(cmdExit_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(prompt);
    layout->addWidget(txtUName_);
    layout->addLayout(buttons);
    setMinimumWidth(300);

    connect(cmdAddBuddy_, &QPushButton::clicked, this, [this] { cmdAddBuddy_Click(); });
    connect(cmdExit_, &QPushButton::clicked, this, &QWidget::close);
}

void AddBuddyDialog::setControlsEnabled(bool enabled) {
    setFormControlsEnabled(*this, enabled);
}

QString AddBuddyDialog::refusal(const QString& name) const {
    const BuddyList& buddies = session_.frame().buddies();
    if (name.compare(session_.values().userName, Qt::CaseInsensitive) == 0) {
        return QStringLiteral("Error: You cannot add yourself to your buddy list!");
    }
    const QList<QTreeWidgetItem*> nodes = buddies.allNodes();
    if (nodes.size() - 2 >= kMaxBuddies) {
        return QStringLiteral("Error: Your buddylist already contains 75 buddies!\r\n"
                              "You cannot add any more friends until you delete some of your "
                              "current buddies!");
    }
    if (!isValidUserName(name)) {
        return QStringLiteral("Error: You entered an invalid username:\r\n"
                              "Usernames can only contain Alpha-Numberic Chars!");
    }
    for (const QTreeWidgetItem* node : nodes) {
        if (node->text(0).compare(name, Qt::CaseInsensitive) == 0) {
            return QStringLiteral("Error: The buddy you choose is already in your buddy list!");
        }
    }
    return QString();
}

void AddBuddyDialog::cmdAddBuddy_Click() {
    session_.trap([&] {
        const QString name = txtUName_->text();
        if (!isLongEnoughName(name)) {
            session_.showMessage(QStringLiteral("Error: Username's must be at least 5 chars long!"),
                                 style::kOk, QStringLiteral("Input Error"), this);
            return;
        }
        setControlsEnabled(false);
        const QString refused = refusal(name);
        setControlsEnabled(true);
        if (!refused.isEmpty()) {
            session_.showMessage(refused, style::kOk, QString(), this);
            return;
        }
        session_.addBuddy(name);
        session_.showMessage(QStringLiteral("The user ") + name +
                                 QStringLiteral(" was added to your buddy list!"),
                             style::kOk, QString(), this);
        close();
    });
}

void addBuddyUnseen(Session& session, QWidget* owner, const QString& name) {
    QPointer<AddBuddyDialog> dialog = new AddBuddyDialog(session, owner);
    dialog->findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(name);
    dialog->cmdAddBuddy_Click();
    delete dialog.data();
}

} // namespace velmora
