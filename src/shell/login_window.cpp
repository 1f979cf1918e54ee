#include "shell/login_window.h"

#include "controls/form_controls.h"
#include "controls/image_list.h"
#include "platform/desktop.h"
#include "platform/error_trap.h"
#include "platform/prompter.h"
#include "protocol/wire.h"
#include "session/main_frame.h"
#include "session/session.h"
#include "session/user_name.h"
#include "settings/server_list.h"
#include "shell/registration_window.h"
#include "shell/saved_password.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace velmora {

namespace {
QString fallbackServer() {
    return QString::fromLatin1(kDefaultServerHost) + QLatin1Char(protocol::kHostPortSep) +
           QString::number(protocol::kDefaultPort);
}

QString hostPart(const QString& address) {
    return address.section(QLatin1Char(protocol::kHostPortSep), 0, 0);
}
} // namespace

QString connectionProblemText() {
    return QStringLiteral(
        "There was a problem when trying to connect to the I.M. server!\r\n"
        "This may be for one of the following reasons:\r\n\r\n"
        "1) The server is down / rebooting [This is the most likely causes];\r\n"
        "2) You are banned from connecting to the IM Server;\r\n"
        "3) You entered an invalid connection address for the server you wish to connect "
        "to;\r\n\r\n"
        "Please use a different server address, or try again later!");
}

LoginWindow::LoginWindow(Session& session, QWidget* owner)
    : QDialog(owner), session_(session), cboHost_(new QComboBox(this)),
      txtUName_(new QLineEdit(this)), txtPWord_(new QLineEdit(this)),
      chkEncrypted_(new QCheckBox(QStringLiteral("&Encrypted connection"), this)),
      chkSaveDetails_(new QCheckBox(QStringLiteral("&Save login details"), this)),
      chkAutoLogin_(new QCheckBox(QStringLiteral("Log in &automatically at start"), this)),
      cmdLogin_(new QPushButton(QStringLiteral("&Log In"), this)),
      cmdRegister_(new QPushButton(QStringLiteral("&Register..."), this)),
      buttonRow_(new QHBoxLayout), tmrShow_(new QTimer(this)) {
    setObjectName(QStringLiteral("frmLogin"));
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(QStringLiteral("Velmora - Log In"));
    setWindowIcon(images::mainImage(MainFrame::kImageOnline));
    buildForm();

    tmrShow_->setObjectName(QStringLiteral("tmrShow"));
    tmrShow_->setSingleShot(true);
    connect(tmrShow_, &QTimer::timeout, this, [this] { tmrShow_Timer(); });
    connect(cmdLogin_, &QPushButton::clicked, this, [this] { cmdLogin_Click(); });
    connect(cmdRegister_, &QPushButton::clicked, this, [this] { openSignUpPage(); });
    connect(&session_, &Session::connectionLost, this, [this] { onConnectionLost(); });

    loadServers();
    loadDetails();
}

void LoginWindow::buildForm() {
    cboHost_->setObjectName(QStringLiteral("cboHost"));
    cboHost_->setEditable(true);
    cboHost_->lineEdit()->setAccessibleName(QStringLiteral("Server"));
    // Enter logs in; it must not also add the typed address to the list.
    cboHost_->setInsertPolicy(QComboBox::NoInsert);
    txtUName_->setObjectName(QStringLiteral("txtUName"));
    txtPWord_->setObjectName(QStringLiteral("txtPWord"));
    txtPWord_->setEchoMode(QLineEdit::Password);
    chkEncrypted_->setObjectName(QStringLiteral("chkEncrypted"));
    chkEncrypted_->setToolTip(QStringLiteral("Connect inside TLS, to the server's encrypted port"));
    connect(chkEncrypted_, &QCheckBox::clicked, this,
            [this](bool on) { session_.trap([&] { session_.settings().setLoginEncrypted(on); }); });
    chkSaveDetails_->setObjectName(QStringLiteral("chkSaveDetails"));
    chkAutoLogin_->setObjectName(QStringLiteral("chkAutoLogin"));
    cmdLogin_->setObjectName(QStringLiteral("cmdLogin"));
    cmdLogin_->setDefault(true);
    cmdRegister_->setObjectName(QStringLiteral("cmdRegister"));
    cmdRegister_->setToolTip(QStringLiteral("Create an account on the server's web site"));

    auto* logo = new QLabel(this);
    logo->setPixmap(images::mainImage(MainFrame::kImageOnline).pixmap(40, 40));
    auto* title = new QLabel(QStringLiteral("<b style='font-size:14pt'>Velmora</b><br>"
                                            "Log in to your instant messaging server"),
                             this);
    auto* header = new QHBoxLayout;
    header->addWidget(logo);
    header->addWidget(title, 1);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("Se&rver:"), cboHost_);
    form->addRow(QStringLiteral("&User name:"), txtUName_);
    form->addRow(QStringLiteral("&Password:"), txtPWord_);

    // Further buttons (such as a sign-up window) join this row.
    buttonRow_->setObjectName(QStringLiteral("buttonRow"));
    buttonRow_->addWidget(cmdRegister_);
    auto* cmdNewAccount = new QPushButton(QStringLiteral("&New Account..."), this);
    cmdNewAccount->setObjectName(QStringLiteral("cmdNewAccount"));
    cmdNewAccount->setToolTip(QStringLiteral("Create an account on this server from here"));
    connect(cmdNewAccount, &QPushButton::clicked, this,
            [this] { session_.trap([this] { showRegistrationWindow(session_); }); });
    buttonRow_->addWidget(cmdNewAccount);
    buttonRow_->addStretch(1);
    buttonRow_->addWidget(cmdLogin_);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(header);
    layout->addSpacing(6);
    layout->addLayout(form);
    layout->addWidget(chkEncrypted_);
    layout->addWidget(chkSaveDetails_);
    layout->addWidget(chkAutoLogin_);
    layout->addSpacing(6);
    layout->addLayout(buttonRow_);
    setMinimumWidth(340);

    // Keys are seen by the window first, whichever control has the focus.
    for (QWidget* control : findChildren<QWidget*>()) {
        control->installEventFilter(this);
    }
}

void LoginWindow::loadServers() {
    session_.trap([&] {
        const QString typed = cboHost_->currentText();
        QStringList servers = server_list::load(session_.settings().serverListPath());
        if (servers.isEmpty()) {
            servers.append(fallbackServer());
        }
        cboHost_->clear();
        cboHost_->addItems(servers);
        if (!typed.isEmpty()) {
            cboHost_->setEditText(typed);
        }
    });
}

void LoginWindow::loadDetails() {
    session_.trap([&] {
        Settings& settings = session_.settings();
        txtUName_->setText(settings.loginUser());
        txtPWord_->setText(SavedPassword::of(session_).load(settings.loginUser()));
        chkSaveDetails_->setChecked(settings.loginCheck() == 1);
        chkAutoLogin_->setChecked(settings.loginAutoConnect() == 1);
        chkEncrypted_->setChecked(settings.loginEncrypted() == 1);
    });
}

void LoginWindow::setLoginControlsEnabled(bool enabled) {
    setFormControlsEnabled(*this, enabled);
}

void LoginWindow::cmdLogin_Click() {
    if (connecting_) {
        return;
    }
    session_.trap([&] {
        const QString user = txtUName_->text();
        const QString password = txtPWord_->text();
        const QString address = cboHost_->currentText();
        if (!isAcceptablePassword(password) || address.size() < 2 || !isLongEnoughName(user)) {
            session_.showMessage(QStringLiteral("Error: You have not entered valid information!"),
                                 style::kOk, QStringLiteral("Input Error"), this);
            return;
        }
        if (!isValidUserName(user)) {
            session_.showMessage(QStringLiteral("Error: You entered an invalid username:\r\n"
                                                "Usernames can only contain Alpha-Numberic Chars!"),
                                 style::kOk, QStringLiteral("Input Error"), this);
            return;
        }

        if (!session_.isClosed()) {
            session_.closeConnection();
        }
        session_.connectTo(address, chkEncrypted_->isChecked());
        session_.frame().setConnectStatus(QStringLiteral("-> Connecting...."));

        Session& session = session_;
        QPointer<LoginWindow> alive(this);
        connecting_ = true;
        const bool ok = session_.waitUntilConnected(*this);
        if (!alive) {
            // The window was closed while connecting: the attempt is abandoned.
            session.closeConnection();
            session.onConnectionClosed();
            return;
        }
        connecting_ = false;
        if (!ok) {
            fail(session_.certificateRefusal().value_or(connectionProblemText()));
            return;
        }

        setLoginControlsEnabled(false);
        cboHost_->lineEdit()->selectAll();
        undoOnThrow([this] { setLoginControlsEnabled(true); },
                    [&] { session_.sendLogin(user, password); });
        awaitingLogin_ = true;
        tmrShow_->setInterval(kAnswerTimeoutMs);
        tmrShow_->start();
    });
}

void LoginWindow::fail(const QString& text) {
    awaitingLogin_ = false;
    tmrShow_->stop();
    session_.closeConnection();
    session_.onConnectionClosed();
    setLoginControlsEnabled(true);
    // An automatic login at start runs with the window hidden.
    show();
    if (!text.isEmpty()) {
        session_.showMessage(text, style::kOk, QString(), this);
    }
}

void LoginWindow::onLoginReply(LoginResult result) {
    session_.trap([&] {
        awaitingLogin_ = false;
        tmrShow_->stop();
        if (result == LoginResult::Accepted) {
            const QString user = txtUName_->text();
            const QString password = txtPWord_->text();
            const QString host = cboHost_->currentText();
            const bool saveDetails = chkSaveDetails_->isChecked();
            const bool autoLogin = chkAutoLogin_->isChecked();
            MainFrame& main = session_.frame();
            main.setConnectStatus(QStringLiteral("-> Connected [") + user + QLatin1Char(']'));
            main.setToolbarOnline();
            session_.values().userName = user;
            session_.values().password = password;
            QPointer<LoginWindow> alive(this);
            QCoreApplication::processEvents();
            Settings& settings = session_.settings();
            if (saveDetails) {
                settings.setLoginUser(user);
                SavedPassword::of(session_).save(user, password);
                settings.setLoginHost(host);
            } else {
                const QString savedUser = settings.loginUser();
                settings.setLoginUser(QString());
                SavedPassword::of(session_).forget(savedUser);
                settings.setLoginHost(QString::fromLatin1(kDefaultServerHost));
            }
            settings.setLoginAutoConnect(autoLogin);
            settings.setLoginCheck(saveDetails);
            QCoreApplication::processEvents();
            main.setTrayStatus(MainFrame::kImageOnline, user);
            if (alive) {
                close();
            }
        } else if (result == LoginResult::Refused) {
            fail(QStringLiteral("Error: The login details which you entered were invalid!"));
            txtPWord_->setFocus();
            txtPWord_->selectAll();
        } else if (result == LoginResult::UpgradeNeeded) {
            fail(QStringLiteral("Error: To login to this I.M. server you will need to upgrade "
                                "your I.M. client to the latest version!"));
        } else {
            fail(QStringLiteral("Error: The server response was invalid!\r\n"
                                "You may need to upgrade your I.M. Client!"));
        }
    });
}

void LoginWindow::tmrShow_Timer() {
    session_.trap([&] {
        tmrShow_->stop();
        if (!awaitingLogin_) {
            return;
        }
        awaitingLogin_ = false;
        session_.onConnectionClosed();
        show();
        session_.showMessage(connectionProblemText(), style::kOk, QString(), this);
        setLoginControlsEnabled(true);
    });
}

void LoginWindow::onConnectionLost() {
    // A server that drops the connection instead of answering is known at
    // once; there is no point in waiting for the time-out.
    if (awaitingLogin_) {
        tmrShow_Timer();
    }
}

void LoginWindow::openSignUpPage() {
    session_.trap([&] {
        session_.desktop().openUrl(QStringLiteral("http://") + hostPart(cboHost_->currentText()) +
                                   QStringLiteral(":88/modules.php?name=Your_Account&op=new_user"));
    });
}

void LoginWindow::closeEvent(QCloseEvent* event) {
    // Leaving the window while the server has not answered gives up the login.
    if (awaitingLogin_) {
        awaitingLogin_ = false;
        tmrShow_->stop();
        session_.trap([&] {
            session_.closeConnection();
            session_.onConnectionClosed();
        });
    }
    QDialog::closeEvent(event);
}

bool LoginWindow::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusIn && (watched == txtUName_ || watched == txtPWord_)) {
        // Queued: a mouse click would otherwise place the cursor afterwards.
        auto* edit = static_cast<QLineEdit*>(watched);
        QTimer::singleShot(0, edit, &QLineEdit::selectAll);
        return false;
    }
    if (event->type() != QEvent::KeyPress) {
        return false;
    }
    const auto* key = static_cast<QKeyEvent*>(event);
    switch (key->key()) {
    case Qt::Key_Escape:
        close();
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (cmdLogin_->isEnabled()) {
            cmdLogin_Click();
        }
        return true;
    default:
        break;
    }
    // An address has at most one colon.
    if (watched == cboHost_->lineEdit() && key->text() == QLatin1Char(protocol::kHostPortSep) &&
        cboHost_->currentText().contains(QLatin1Char(protocol::kHostPortSep))) {
        session_.prompter().beep();
        return true;
    }
    return false;
}

} // namespace velmora
