#include "shell/registration_window.h"

#include "controls/form_controls.h"
#include "platform/error_trap.h"
#include "platform/prompter.h"
#include "session/session.h"
#include "session/user_name.h"
#include "settings/settings.h"
#include "shell/password_rules.h"

#include <QCheckBox>
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

RegistrationWindow::RegistrationWindow(Session& session)
    : session_(session), txtHost_(new QLineEdit(this)), txtUName_(new QLineEdit(this)),
      txtPWord_(new QLineEdit(this)), txtPWordConfirm_(new QLineEdit(this)),
      chkEncrypted_(new QCheckBox(QStringLiteral("&Encrypted connection"), this)),
      cmdSignUp_(new QPushButton(QStringLiteral("&Sign Up"), this)),
      cmdClose_(new QPushButton(QStringLiteral("&Close"), this)) {
    setObjectName(QLatin1String(kFormName));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Sign Up for an Account"));
    buildForm();
    txtHost_->setText(QString::fromLatin1(kDefaultServerHost));
    session_.trap([this] { chkEncrypted_->setChecked(session_.settings().loginEncrypted() == 1); });

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
    chkEncrypted_->setObjectName(QStringLiteral("chkEncrypted"));
    connect(chkEncrypted_, &QCheckBox::clicked, this,
            [this](bool on) { session_.trap([&] { session_.settings().setLoginEncrypted(on); }); });
    cmdSignUp_->setObjectName(QStringLiteral("cmdSignUp"));
    cmdSignUp_->setDefault(true);
    cmdClose_->setObjectName(QStringLiteral("cmdClose"));

    auto* fields = new QFormLayout;
    fields->addRow(QStringLiteral("Ser&ver:"), txtHost_);
    fields->addRow(QStringLiteral("&User name:"), txtUName_);
    fields->addRow(QStringLiteral("&Password:"), txtPWord_);
    fields->addRow(QStringLiteral("C&onfirm password:"), txtPWordConfirm_);
    fields->addRow(QString(), chkEncrypted_);
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
    if (!isValidUserName(user)) {
        return QStringLiteral("Error: Usernames can only contain Alpha-Numeric Characters!");
    }
    if (!isLongEnoughName(user)) {
        return tooShortText();
    }
    return newPasswordRefusal(txtPWord_->text(), txtPWordConfirm_->text());
}

void RegistrationWindow::cmdSignUp_Click() {
    if (connecting_) {
        return;
    }
    session_.trap([&] {
        const QString refused = refusal();
        if (!refused.isEmpty()) {
            setControlsEnabled(true);
            session_.showMessage(refused, style::kOk, QString(), this);
            return;
        }
        setControlsEnabled(false);
        QPointer<RegistrationWindow> alive(this);
        bool connected = false;
        connecting_ = true;
        undoOnThrow(
            [this] {
                connecting_ = false;
                setControlsEnabled(true);
            },
            [&] { connected = connectToServer(); });
        if (!alive) {
            // Closed while connecting: nobody is left to send for.
            return;
        }
        connecting_ = false;
        if (!connected) {
            const QString text = session_.certificateRefusal().value_or(connectFailureText());
            if (!text.isEmpty()) {
                session_.showMessage(text, style::kOk, QString(), this);
            }
            setControlsEnabled(true);
            return;
        }
        undoOnThrow([this] { setControlsEnabled(true); },
                    [&] { session_.sendSignUp(txtUName_->text(), txtPWord_->text()); });
    });
}

bool RegistrationWindow::connectToServer() {
    session_.closeConnection();
    // An address may name its own port after a colon, as at login.
    session_.connectTo(txtHost_->text(), chkEncrypted_->isChecked());
    return session_.waitUntilConnected(*this);
}

void RegistrationWindow::onRegistrationReply(SignUpResult result, const QString& webSite) {
    QString text;
    if (result == SignUpResult::Created) {
        text = QStringLiteral("Success: Your account has been created for use on this server!");
    } else if (result == SignUpResult::NameTaken) {
        text = QStringLiteral("Error: There is already a user with that username!");
    } else if (result == SignUpResult::Disabled) {
        text = QStringLiteral("Error: Registration via the client is not enabled on this "
                              "server!\r\nGo To: \"") +
               webSite + QStringLiteral("/modules.php?name=Your_Account\" To Register!");
    } else {
        text = QStringLiteral("Error: Response was not valid!\r\n"
                              "Possible problems with server compatibility!");
    }
    session_.showMessage(text, style::kOk, QString(), this);
    setControlsEnabled(true);
}

RegistrationWindow* findRegistrationWindow(Session& session) {
    return session.findWindow<RegistrationWindow>();
}

RegistrationWindow& registrationWindow(Session& session) {
    if (RegistrationWindow* open = findRegistrationWindow(session)) {
        return *open;
    }
    auto* window = new RegistrationWindow(session);
    session.adoptWindow(window);
    return *window;
}

void showRegistrationWindow(Session& session) {
    RegistrationWindow& window = registrationWindow(session);
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace velmora
