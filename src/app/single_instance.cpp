#include "app/single_instance.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QThread>

namespace velmora {

namespace {

// What a later start says, and the running client's answer.
constexpr char kActivate[] = "activate\n";
constexpr char kActivated[] = "ok\n";

QString canonicalFolder(const QString& appFolder) {
    const QString canonical = QFileInfo(appFolder).canonicalFilePath();
    return canonical.isEmpty() ? QDir::cleanPath(QDir(appFolder).absolutePath()) : canonical;
}

// Sockets and locks go where the desktop keeps per-user run-time files
// (private to the user), else the temporary folder.
QString runtimeFolder() {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return !runtime.isEmpty() && QFileInfo(runtime).isDir() ? runtime : QDir::tempPath();
}

} // namespace

QString SingleInstance::serverName(const QString& appFolder) {
    const QByteArray digest =
        QCryptographicHash::hash(canonicalFolder(appFolder).toUtf8(), QCryptographicHash::Sha256);
    return runtimeFolder() + QStringLiteral("/velmora-") +
           QString::fromLatin1(digest.toHex().left(24));
}

SingleInstance::SingleInstance(const QString& appFolder, QObject* parent)
    : QObject(parent), name_(serverName(appFolder)), lock_(name_ + QStringLiteral(".lock")) {
    lock_.setStaleLockTime(0);
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::claim() {
    if (server_) {
        return true;
    }
    if (!lock_.tryLock(0)) {
        return false;
    }
    // Holding the lock, any socket left under the name is a dead client's.
    QLocalServer::removeServer(name_);
    auto server = std::make_unique<QLocalServer>();
    server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server->listen(name_)) {
        qWarning("velmora: cannot listen on %s (%s); a second start will not find this one",
                 qPrintable(name_), qPrintable(server->errorString()));
    }
    connect(server.get(), &QLocalServer::newConnection, this, &SingleInstance::onConnection);
    server_ = std::move(server);
    return true;
}

void SingleInstance::onConnection() {
    while (QLocalSocket* peer = server_->nextPendingConnection()) {
        connect(peer, &QLocalSocket::disconnected, peer, &QObject::deleteLater);
        connect(peer, &QLocalSocket::readyRead, this, [this, peer] {
            // Anything else on the socket is not a start of ours: dropped.
            if (peer->bytesAvailable() < qint64(sizeof kActivate - 1)) {
                return;
            }
            const bool asked = peer->read(sizeof kActivate - 1) == kActivate;
            if (asked) {
                peer->write(kActivated);
                emit activationRequested();
            }
            peer->disconnectFromServer();
        });
    }
}

bool SingleInstance::activateRunning(int timeoutMs) {
    const QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        QLocalSocket socket;
        socket.connectToServer(name_);
        if (socket.waitForConnected(int(deadline.remainingTime()))) {
            socket.write(kActivate);
            socket.flush();
            QByteArray answer;
            while (answer.size() < qsizetype(sizeof kActivated - 1) &&
                   socket.waitForReadyRead(int(deadline.remainingTime()))) {
                answer += socket.readAll();
            }
            return answer.startsWith(kActivated);
        }
        // The running client may not be listening yet.
        QThread::msleep(50);
    }
    return false;
}

} // namespace velmora
