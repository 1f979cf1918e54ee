#include "session/registration_window.h"

#include "app/client.h"
#include "contacts/user_name.h"
#include "controls/form_controls.h"
#include "platform/prompter.h"
#include "session/app_error.h"
#include "session/connect_wait.h"
#include "session/connection.h"
#include "shell/settings.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace velmora {

namespace {

QString connectFailureText() {
    return QStringLiteral("There was a problem when trying to connect to the I.M. server!\r\n"
                          "Either the server is down, or you entered an incorrect server "
                          "address.\r\nPlease use a different server address, or try again later!");
}

} // namespace

RegistrationWindow::RegistrationWindow(Client& client)
    : client_(client), txtHost_(new QLineEdit(this)), txtUName_(new QLineEdit(this)),
      txtPWord_(new QLineEdit(this)), txtPWordConfirm_(new QLineEdit(this)),
      cmdSignUp_(new QPushButton(QStringLiteral("&Sign Up"), this)),
      cmdClose_(new QPushButton(QStringLiteral("&Close"), this)) {
    setObjectName(QLatin1String(kFormName));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Sign Up for an Account"));
    buildForm();
    txtHost_->setText(QString::fromLatin1(kDefaultServerHost));

    connect(cmdSignUp_, &QPushButton::clicked, this, [this] { cmdSignUp_Click(); });
    connect(cmdClose_, &QPushButton::clicked, this, &QWidget::close);
}

void RegistrationWindow::buildForm() {
    txtHost_->setObjectName(QStringLiteral("txtHost"));
    txtUName_->setObjectName(QStringLiteral("txtUName"));
    txtPWord_->setObjectName(QStringLiteral("txtPWord"));
    txtPWord_->setEchoMode(QLineEdit::Password);
    txtPWordConfirm_->setObjectName(QStringLiteral("txtPWordConfirm"));
    txtPWordConfirm_->setEchoMode(QLineEdit::Password);
    cmdSignUp_->setObjectName(QStringLiteral("cmdSignUp"));
    cmdSignUp_->setDefault(true);
    cmdClose_->setObjectName(QStringLiteral("cmdClose"));

    auto* fields = new QFormLayout;
    fields->addRow(QStringLiteral("Ser&ver:"), txtHost_);
    fields->addRow(QStringLiteral("&User name:"), txtUName_);
    fields->addRow(QStringLiteral("&Password:"), txtPWord_);
    fields->addRow(QStringLiteral("C&onfirm password:"), txtPWordConfirm_);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cmdSignUp_);
    buttons->addWidget(cmdClose_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(fields);
    layout->addLayout(buttons);
    setMinimumWidth(320);
}

void RegistrationWindow::setControlsEnabled(bool enabled) {
    setFormControlsEnabled(*this, enabled);
}

QString RegistrationWindow::refusal() const {
    const QString user = txtUName_->text();
    const QString password = txtPWord_->text();
    if (!isValidUserName(user)) {
        return QStringLiteral("Error: Usernames can only contain Alpha-Numeric Characters!");
    }
    if (user.size() < 5 || password.size() < 5) {
        return QStringLiteral("Error: Usernames & Passwords must be at least 5 characters long!");
    }
    if (password.contains(QLatin1Char(':'))) {
        return QStringLiteral("Error: Passwords cannot contain a \":\" character!");
    }
    if (password != txtPWordConfirm_->text()) {
        return QStringLiteral("Error: The passwords you entered did not match!");
    }
    return QString();
}

void RegistrationWindow::cmdSignUp_Click() {
    if (connecting_) {
        return;
    }
    client_.trap([&] {
        const QString refused = refusal();
        if (!refused.isEmpty()) {
            setControlsEnabled(true);
            client_.ShowMessage(refused, style::kOk, QString(), this);
            return;
        }
        setControlsEnabled(false);
        QPointer<RegistrationWindow> alive(this);
        bool connected = false;
        try {
            connecting_ = true;
            connected = connectToServer();
        } catch (const AppError&) {
            connecting_ = false;
            setControlsEnabled(true);
            throw;
        }
        if (!alive) {
            // Closed while connecting: nobody is left to send for.
            return;
        }
        connecting_ = false;
        if (!connected) {
            client_.ShowMessage(connectFailureText(), style::kOk, QString(), this);
            setControlsEnabled(true);
            return;
        }
        try {
            client_.connection().SendData(QStringLiteral(" ## cmdRA /:/ ") + txtUName_->text() +
                                          QStringLiteral(" /:/ ") + txtPWord_->text() +
                                          QStringLiteral(" /:/ ") + Client::versionField());
        } catch (const AppError&) {
            setControlsEnabled(true);
            throw;
        }
    });
}

bool RegistrationWindow::connectToServer() {
    Connection& connection = client_.connection();
    connection.Close();
    // An address may name its own port after a colon, as at login.
    connectToAddress(connection, txtHost_->text(), kDefaultPort);
    return waitForConnection(connection, *this);
}

void RegistrationWindow::onRegistrationReply(const QString& outcome, const QString& webSite) {
    QString text;
    if (outcome == QLatin1String("RS")) {
        text = QStringLiteral("Success: Your account has been created for use on this server!");
    } else if (outcome == QLatin1String("UE")) {
        text = QStringLiteral("Error: There is already a user with that username!");
    } else if (outcome == QLatin1String("RNE")) {
        text = QStringLiteral("Error: Registration via the client is not enabled on this "
                              "server!\r\nGo To: \"") +
               webSite + QStringLiteral("/modules.php?name=Your_Account\" To Register!");
    } else {
        text = QStringLiteral("Error: Response was not valid!\r\n"
                              "Possible problems with server compatibility!");
    }
    client_.ShowMessage(text, style::kOk, QString(), this);
    setControlsEnabled(true);
}

RegistrationWindow* findRegistrationWindow(Client& client) {
    return client.findWindow<RegistrationWindow>();
}

RegistrationWindow& registrationWindow(Client& client) {
    if (RegistrationWindow* open = findRegistrationWindow(client)) {
        return *open;
    }
    auto* window = new RegistrationWindow(client);
    client.adoptWindow(window);
    return *window;
}

void showRegistrationWindow(Client& client) {
    RegistrationWindow& window = registrationWindow(client);
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace velmora
