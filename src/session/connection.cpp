#include "session/connection.h"

#include "platform/app_error.h"

#include <QSslSocket>

namespace velmora {

namespace {
constexpr int kDefaultArrivalDelayMs = 5;
// The most the socket holds for the dispatcher; a full buffer is handed over
// at once, and the server waits (TCP flow control) until it has been read.
constexpr qint64 kReadBufferBytes = 256 * 1024;

// Bytes at the end of `data` that begin a UTF-8 sequence not yet complete;
// they wait for the next arrival so that no character is cut in two.
qsizetype incompleteUtf8Tail(const QByteArray& data) {
    const qsizetype n = data.size();
    for (qsizetype back = 1; back <= 3 && back <= n; ++back) {
        const auto c = static_cast<unsigned char>(data[n - back]);
        if ((c & 0xC0) == 0x80) {
            continue; // continuation byte, keep looking for the lead byte
        }
        qsizetype need = 1;
        if ((c & 0xE0) == 0xC0) {
            need = 2;
        } else if ((c & 0xF0) == 0xE0) {
            need = 3;
        } else if ((c & 0xF8) == 0xF0) {
            need = 4;
        }
        return need > back ? back : 0;
    }
    return 0;
}
} // namespace

Connection::Connection(QObject* parent) : QObject(parent), socket_(new QSslSocket(this)) {
    setObjectName(QStringLiteral("ConnSock"));
    socket_->setReadBufferSize(kReadBufferBytes);
    arrivalTimer_.setSingleShot(true);
    arrivalTimer_.setInterval(kDefaultArrivalDelayMs);
    connect(&arrivalTimer_, &QTimer::timeout, this, &Connection::fireDataArrival);
    connect(socket_, &QSslSocket::readyRead, this, &Connection::onReadyRead);
    connect(socket_, &QSslSocket::connected, this, [this] {
        localPort_ = socket_->localPort();
        if (!encrypted_) {
            emit connected();
        }
    });
    connect(socket_, &QSslSocket::encrypted, this, &Connection::connected);
    connect(socket_, &QSslSocket::sslErrors, this, [this](const QList<QSslError>& errors) {
        // Not ignored, the errors fail the handshake.
        if (certificateCheck_ && certificateCheck_(socket_->peerCertificate(), errors)) {
            socket_->ignoreSslErrors(errors);
        }
    });
    connect(socket_, &QSslSocket::disconnected, this, &Connection::onDisconnected);
    connect(socket_, &QSslSocket::errorOccurred, this, [this](QAbstractSocket::SocketError error) {
        if (error == QAbstractSocket::RemoteHostClosedError) {
            return; // an ordinary close by the peer, reported as closed()
        }
        failed_ = true;
        emit errorOccurred(socket_->errorString());
    });
}

Connection::~Connection() {
    // No events for a connection that is going away.
    socket_->disconnect(this);
    socket_->abort();
}

int Connection::State() const {
    switch (socket_->state()) {
    case QAbstractSocket::HostLookupState:
        return ResolvingHost;
    case QAbstractSocket::ConnectingState:
        return Connecting;
    case QAbstractSocket::ConnectedState:
        // Nothing may be sent before the handshake is done.
        return encrypted_ && !socket_->isEncrypted() ? Connecting : Connected;
    case QAbstractSocket::ClosingState:
        return Closing;
    case QAbstractSocket::BoundState:
    case QAbstractSocket::ListeningState:
        return Open;
    case QAbstractSocket::UnconnectedState:
        break;
    }
    return failed_ ? Error : Closed;
}

quint16 Connection::LocalPort() const {
    return localPort_;
}

void Connection::Connect() {
    failed_ = false;
    pending_.clear();
    if (encrypted_) {
        socket_->connectToHostEncrypted(remoteHost_, remotePort_);
    } else {
        socket_->connectToHost(remoteHost_, remotePort_);
    }
}

void Connection::Close() {
    arrivalTimer_.stop();
    pending_.clear();
    failed_ = false;
    socket_->blockSignals(true);
    socket_->abort();
    socket_->blockSignals(false);
}

void Connection::SendData(const QString& data) {
    if (State() != Connected) {
        throw AppError(err::kWrongProtocolOrConnectionState, objectName(),
                       QStringLiteral("Wrong protocol or connection state for the requested "
                                      "transaction or request"));
    }
    socket_->write(data.toUtf8());
}

QString Connection::GetData() {
    pending_ += socket_->readAll();
    const qsizetype keep = incompleteUtf8Tail(pending_);
    const QString text = QString::fromUtf8(pending_.constData(), pending_.size() - keep);
    pending_ = pending_.right(keep);
    return text;
}

void Connection::onReadyRead() {
    if (arrivalTimer_.interval() <= 0 || socket_->bytesAvailable() >= kReadBufferBytes) {
        arrivalTimer_.stop();
        fireDataArrival();
        return;
    }
    // The wait runs from the first byte not yet handed over; later reads do
    // not extend it, so a steady stream is still delivered every few ms.
    if (!arrivalTimer_.isActive()) {
        arrivalTimer_.start();
    }
}

void Connection::fireDataArrival() {
    const qint64 waiting = socket_->bytesAvailable() + pending_.size();
    if (waiting > 0) {
        emit dataArrival(waiting);
    }
}

void Connection::onDisconnected() {
    // Data that came in just before the close is still delivered first.
    if (arrivalTimer_.isActive()) {
        arrivalTimer_.stop();
        fireDataArrival();
    }
    emit closed();
}

} // namespace velmora
