#include "support/e2e.h"

#include "messaging/pm_window.h"
#include "platform/qt_prompter.h"
#include "shell/login_window.h"
#include "shell/main_window.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QPixmap>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>
#include <QTimer>

namespace velmora::test {

VelmoradProcess::VelmoradProcess(std::initializer_list<std::pair<const char*, const char*>> users,
                                 const QStringList& extraArgs)
    : users_(users), extraArgs_(extraArgs) {}

VelmoradProcess::~VelmoradProcess() {
    if (process_.state() != QProcess::NotRunning) {
        process_.terminate();
        if (!process_.waitForFinished(5000)) {
            process_.kill();
            process_.waitForFinished(5000);
        }
    }
}

bool VelmoradProcess::start(const QStringList& moreArgs) {
    const QStringList common{QStringLiteral("--db"), dir_.filePath(QStringLiteral("velmorad.db")),
                             QStringLiteral("--hash-cost"), QStringLiteral("fast")};
    const QString velmorad = qEnvironmentVariable("VELMORAD", QStringLiteral("velmorad"));
    for (const auto& [name, password] : port_ == 0 ? users_ : decltype(users_){}) {
        if (QProcess::execute(velmorad, QStringList{"useradd", name, password} + common) != 0) {
            return false;
        }
    }
    const QStringList tls =
        tlsArgs_.isEmpty() ? QStringList() : QStringList{"--tls-listen", tlsAddress()} + tlsArgs_;
    process_.start(velmorad, QStringList{QStringLiteral("--listen"), address()} + common +
                                 extraArgs_ + tls + moreArgs);
    if (!process_.waitForStarted(10000)) {
        return false;
    }
    QByteArray out;
    const QByteArray last = tls.isEmpty() ? "\n" : " (TLS)\n";
    const auto firstLine = [&] {
        out += process_.readAllStandardOutput();
        return out.contains(last) || process_.state() == QProcess::NotRunning;
    };
    QList<quint16> ports;
    auto found =
        QRegularExpression(QStringLiteral("listening on 127.0.0.1:(\\d+)"))
            .globalMatch(QTest::qWaitFor(firstLine, 10000) ? QString::fromLatin1(out) : "");
    while (found.hasNext()) {
        ports << found.next().captured(1).toUShort();
    }
    port_ = ports.value(0);
    tlsPort_ = tls.isEmpty() ? tlsPort_ : ports.value(1);
    return port_ != 0 && (tls.isEmpty() || tlsPort_ != 0);
}

void VelmoradProcess::stop() {
    process_.kill();
    process_.waitForFinished(5000);
    log_ += process_.readAllStandardError();
}

QString VelmoradProcess::address() const {
    return QStringLiteral("127.0.0.1:") + QString::number(port_);
}

void VelmoradProcess::useTls(const QString& certificateFile, const QString& keyFile) {
    tlsArgs_ = {QStringLiteral("--tls-cert"), certificateFile, QStringLiteral("--tls-key"),
                keyFile};
}

QString VelmoradProcess::tlsAddress() const {
    return QStringLiteral("127.0.0.1:") + QString::number(tlsPort_);
}

E2eUser::E2eUser(QString userName) : name(std::move(userName)) {
    const QDir smilies(QStringLiteral(VELMORA_ASSETS "/Smilies"));
    QDir(home.path()).mkdir(QStringLiteral("Smilies"));
    for (const QString& file : smilies.entryList(QDir::Files)) {
        QFile::copy(smilies.filePath(file), home.filePath(QStringLiteral("Smilies/") + file));
    }
    restart();
}

void E2eUser::restart() {
    client.reset();
    client = std::make_unique<Client>(home.path(), prompter, desktop);
}

bool E2eUser::logIn(const VelmoradProcess& server, const QString& password, bool encrypted) {
    LoginWindow& login = client->loginWindow();
    login.show();
    if (encrypted) {
        auto* box = login.findChild<QCheckBox*>(QStringLiteral("chkEncrypted"));
        if (!box->isChecked()) {
            box->click();
        }
    }
    login.findChild<QComboBox*>(QStringLiteral("cboHost"))
        ->setEditText(encrypted ? server.tlsAddress() : server.address());
    login.findChild<QLineEdit*>(QStringLiteral("txtUName"))->setText(name);
    login.findChild<QLineEdit*>(QStringLiteral("txtPWord"))->setText(password);
    QTest::mouseClick(login.findChild<QPushButton*>(QStringLiteral("cmdLogin")), Qt::LeftButton);
    const QString connected = QStringLiteral("-> Connected [") + name + QLatin1Char(']');
    return QTest::qWaitFor(
        [&] {
            return client->mainWindow().connectStatus() == connected &&
                   client->session().values().intServerLimit > 0;
        },
        10000);
}

void send(PMWindow& w, const QString& text, const char* font) {
    useFont(w.tbFontSettings(), font, "10", "");
    say(w.txtSendMsg(), text);
}

bool hasLog(PMWindow& w, const QString& log) {
    return QTest::qWaitFor([&] { return w.conversationLog() == log; }, 10000);
}

bool saveScreenshot(const ShownBox& box, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    if (folder.isEmpty()) {
        return true;
    }
    bool saved = false;
    QTimer::singleShot(500, [&] {
        if (auto* shownBox = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            saved = shownBox->grab().save(QDir(folder).filePath(file));
            shownBox->done(0);
        }
    });
    QtPrompter().show(box.text, box.style, box.title, nullptr);
    return saved;
}

namespace {
// Shows `window` in front and waits until the window manager has placed
// and painted it.
bool showForPicture(QWidget& window) {
    window.show();
    window.raise();
    window.activateWindow();
    QTest::qWait(300);
    return QTest::qWaitForWindowExposed(&window);
}
} // namespace

bool saveScreenshot(QWidget& window, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    return folder.isEmpty() ||
           (showForPicture(window) && window.grab().save(QDir(folder).filePath(file)));
}

bool saveScreenshotWithMenu(QMainWindow& window, QMenu& menu, const QString& file) {
    const QString folder = qEnvironmentVariable("VELMORA_SCREENSHOTS");
    if (folder.isEmpty()) {
        return true;
    }
    if (!showForPicture(window)) {
        return false;
    }
    QMenuBar* bar = window.menuBar();
    menu.popup(bar->mapToGlobal(bar->actionGeometry(menu.menuAction()).bottomLeft()));
    if (!QTest::qWaitForWindowExposed(&menu)) {
        return false;
    }
    menu.setActiveAction(menu.actions().value(0));
    QTest::qWait(300);
    const QRect area = window.frameGeometry().united(menu.geometry());
    const QPixmap shot =
        window.screen()->grabWindow(0, area.x(), area.y(), area.width(), area.height());
    menu.hide();
    return shot.save(QDir(folder).filePath(file));
}

} // namespace velmora::test
