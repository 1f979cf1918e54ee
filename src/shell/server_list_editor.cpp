#include "shell/server_list_editor.h"

#include "platform/prompter.h"
#include "protocol/wire.h"
#include "session/session.h"
#include "settings/server_list.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

ServerListEditor::ServerListEditor(Session& session, QWidget* owner)
    : QDialog(owner), session_(session), path_(session.settings().serverListPath()),
      lstServers_(new QListWidget(this)), txtServer_(new QLineEdit(this)),
      cmdAdd_(new QPushButton(QStringLiteral("&Add"), this)),
      cmdDelete_(new QPushButton(QStringLiteral("&Delete"), this)),
      cmdSave_(new QPushButton(QStringLiteral("&Save"), this)),
      cmdClose_(new QPushButton(QStringLiteral("&Close"), this)) {
    setObjectName(QStringLiteral("frmSrvLst"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Server List"));
    lstServers_->setObjectName(QStringLiteral("lstServers"));
    lstServers_->setAccessibleName(QStringLiteral("Servers"));
    txtServer_->setObjectName(QStringLiteral("txtServer"));
    txtServer_->setAccessibleName(QStringLiteral("Server address"));
    txtServer_->setPlaceholderText(QStringLiteral("host or host:port"));
    cmdAdd_->setObjectName(QStringLiteral("cmdAdd"));
    cmdDelete_->setObjectName(QStringLiteral("cmdDelete"));
    cmdSave_->setObjectName(QStringLiteral("cmdSave"));
    cmdClose_->setObjectName(QStringLiteral("cmdClose"));

    auto* grid = new QGridLayout(this);
    grid->addWidget(new QLabel(QStringLiteral("IM servers offered at log in:"), this), 0, 0, 1, 2);
    grid->addWidget(lstServers_, 1, 0, 4, 1);
    grid->addWidget(cmdDelete_, 1, 1);
    grid->addWidget(cmdSave_, 2, 1);
    grid->setRowStretch(3, 1);
    grid->addWidget(cmdClose_, 4, 1);
    grid->addWidget(txtServer_, 5, 0);
    grid->addWidget(cmdAdd_, 5, 1);
    resize(360, 300);

    connect(cmdAdd_, &QPushButton::clicked, this, [this] { cmdAdd_Click(); });
    connect(txtServer_, &QLineEdit::returnPressed, this, [this] { cmdAdd_Click(); });
    connect(cmdDelete_, &QPushButton::clicked, this, [this] { cmdDelete_Click(); });
    connect(cmdSave_, &QPushButton::clicked, this, [this] { cmdSave_Click(); });
    connect(cmdClose_, &QPushButton::clicked, this, &QWidget::close);

    session_.trap([&] { lstServers_->addItems(server_list::load(path_)); });
}

QStringList ServerListEditor::servers() const {
    QStringList list;
    for (int i = 0; i < lstServers_->count(); ++i) {
        list.append(lstServers_->item(i)->text());
    }
    return list;
}

void ServerListEditor::cmdAdd_Click() {
    const QString address = txtServer_->text().trimmed();
    // The login window takes an address of at least two characters with at
    // most one colon; anything else could never be used.
    if (address.size() < 2 || address.count(QLatin1Char(protocol::kHostPortSep)) > 1 ||
        servers().contains(address, Qt::CaseInsensitive)) {
        session_.prompter().beep();
        return;
    }
    lstServers_->addItem(address);
    lstServers_->setCurrentRow(lstServers_->count() - 1);
    txtServer_->clear();
    changed_ = true;
}

void ServerListEditor::cmdDelete_Click() {
    const int row = lstServers_->currentRow();
    if (row < 0) {
        session_.prompter().beep();
        return;
    }
    delete lstServers_->takeItem(row);
    changed_ = true;
}

void ServerListEditor::cmdSave_Click() {
    session_.trap([&] {
        server_list::save(path_, servers());
        changed_ = false;
        emit saved();
    });
}

void ServerListEditor::closeEvent(QCloseEvent* event) {
    if (changed_ &&
        session_.showMessage(QStringLiteral("Do you wish to save the changes to the server list?"),
                             style::kYesNoQuestion, QString(), this) == answer::kYes) {
        cmdSave_Click();
    }
    QDialog::closeEvent(event);
}

} // namespace velmora
