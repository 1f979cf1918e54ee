#include "session/connection.h"

#include "platform/app_error.h"
#include "protocol/wire.h"

#include <QPointer>
#include <QSslSocket>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#endif

#include <algorithm>
#include <string_view>
#include <utility>

namespace velmora {

namespace {
constexpr int kDefaultArrivalDelayMs = 5;
// The most the socket holds: beyond it the server waits (TCP flow control)
// until the client has read what came before. A full buffer is handed over
// at once.
constexpr qint64 kReadBufferBytes = 256 * 1024;
// The most one arrival hands over; what a handler holds of a batch is a few
// copies of it.
constexpr qsizetype kPieceBytes = 256 * 1024;
// A piece and the mark that may begin where it ends.
constexpr qsizetype kHeldBytes = kPieceBytes + qsizetype(protocol::kRecordMark.size());

// Bytes at the end of `data` that begin a UTF-8 sequence not yet complete;
// they wait for the next arrival so that no character is cut in two.
qsizetype incompleteUtf8Tail(QByteArrayView data) {
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

Connection::Connection(QObject* parent)
    : QObject(parent), socket_(new QSslSocket(this)), arrivalDelayMs_(kDefaultArrivalDelayMs) {
    setObjectName(QStringLiteral("ConnSock"));
    socket_->setReadBufferSize(kReadBufferBytes);
    stirred_.start();
    arrivalTimer_.setSingleShot(true);
    arrivalTimer_.setTimerType(Qt::PreciseTimer);
    connect(&arrivalTimer_, &QTimer::timeout, this, &Connection::arrive);
    connect(socket_, &QSslSocket::readyRead, this, &Connection::onReadyRead);
    connect(socket_, &QSslSocket::connected, this, [this] {
        localPort_ = socket_->localPort();
        watchForVanishing();
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

QSslCertificate Connection::peerCertificate() const {
    return socket_->peerCertificate();
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
    arrivalTimer_.stop();
    pending_.clear();
    due_ = more_ = closing_ = false;
    if (encrypted_) {
        socket_->connectToHostEncrypted(remoteHost_, remotePort_);
    } else {
        socket_->connectToHost(remoteHost_, remotePort_);
    }
}

void Connection::Close() {
    // A close by the peer that is still owed its closed() keeps it: the
    // rest of the client learns of the drop either way.
    arrivalTimer_.stop();
    pending_.clear();
    due_ = more_ = false;
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
    fill();
    const qsizetype end = pieceEnd();
    const QString text = QString::fromUtf8(pending_.constData(), end);
    pending_.remove(0, end);
    more_ = socket_->bytesAvailable() > 0 || pending_.size() > incompleteUtf8Tail(pending_);
    return text;
}

void Connection::fill() {
    const qint64 room = kHeldBytes - pending_.size();
    if (room <= 0) {
        return;
    }
    pending_ += socket_->read(room);
}

void Connection::watchForVanishing() {
    // A client only listens: if the server dropped the session while the
    // network was away, nothing would ever tell it. Probes after 30 s of
    // silence, three 10 s apart, end such a connection, and the reconnect
    // logs in again (what was sent meanwhile waits on the server).
    socket_->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
#ifndef Q_OS_WIN
    const int fd = static_cast<int>(socket_->socketDescriptor());
    const int idle = 30, interval = 10, count = 3;
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &count, sizeof count);
#endif
}

bool Connection::moreBehind() const {
    if (socket_->bytesAvailable() > 0 || socket_->encryptedBytesAvailable() > 0) {
        return true;
    }
    // What the system holds, which the socket reads on its next turn of the
    // event loop (or not at all while its own buffer is full).
    const qintptr fd = socket_->socketDescriptor();
    if (fd < 0) {
        return false;
    }
#ifdef Q_OS_WIN
    u_long bytes = 0;
    return ioctlsocket(static_cast<SOCKET>(fd), FIONREAD, &bytes) == 0 && bytes > 0;
#else
    int bytes = 0;
    return ::ioctl(static_cast<int>(fd), FIONREAD, &bytes) == 0 && bytes > 0;
#endif
}

qsizetype Connection::pieceEnd() const {
    if (pending_.size() <= kPieceBytes && !moreBehind() && (closing_ || quiet())) {
        return pending_.size() - incompleteUtf8Tail(pending_);
    }
    // Whole records only: the piece ends at the last mark that begins inside
    // it, found the way the dispatcher reads the records.
    const std::string_view held(pending_.constData(), static_cast<std::size_t>(pending_.size()));
    const auto markSize = protocol::kRecordMark.size();
    std::size_t cut = 0;
    for (std::size_t at = protocol::findSeparator(held, protocol::kRecordMark);
         at != std::string_view::npos && at <= std::size_t(kPieceBytes);
         at = protocol::findSeparator(held, protocol::kRecordMark, at + markSize)) {
        cut = at;
    }
    if (cut > 0) {
        return static_cast<qsizetype>(cut);
    }
    if (pending_.size() >= kPieceBytes) {
        // One record larger than a piece: it is cut where the piece ends.
        return kPieceBytes - incompleteUtf8Tail(QByteArrayView(pending_).first(kPieceBytes));
    }
    return 0; // one record, still coming in
}

bool Connection::quiet() const {
    return arrivalDelayMs_ <= 0 || stirred_.elapsed() >= arrivalDelayMs_;
}

qint64 Connection::waiting() const {
    return socket_->bytesAvailable() + pending_.size();
}

void Connection::onReadyRead() {
    stirred_.restart();
    // A backlog the last piece left goes on at once, as does a full buffer.
    if (more_ || arrivalDelayMs_ <= 0 || socket_->bytesAvailable() >= kReadBufferBytes) {
        arriveSoon();
        return;
    }
    // The wait runs from the first byte not yet handed over; later reads do
    // not extend it, so a steady stream is still delivered every few ms.
    if (!arrivalTimer_.isActive()) {
        arrivalTimer_.start(arrivalDelayMs_);
    }
}

void Connection::arriveSoon() {
    // Queued, never from inside the socket's readyRead: the socket does not
    // signal again while that signal is being handled, and so would not
    // report what comes in while the piece is dispatched.
    if (!queued_) {
        queued_ = true;
        QMetaObject::invokeMethod(this, &Connection::arrive, Qt::QueuedConnection);
    }
}

void Connection::arrive() {
    queued_ = false;
    if (handing_) {
        due_ = true; // after the piece being handled
        return;
    }
    arrivalTimer_.stop();
    fill();
    if (pieceEnd() == 0) {
        // A record still coming in waits for the line to go quiet (or for
        // the rest of a character, which needs no timer).
        if (!quiet()) {
            arrivalTimer_.start(std::max<int>(1, arrivalDelayMs_ - int(stirred_.elapsed())));
        }
        return;
    }
    const QPointer<Connection> alive(this);
    more_ = false;
    handing_ = true;
    emit dataArrival(waiting());
    if (!alive) {
        return;
    }
    handing_ = false;
    // Handlers hold the event loop, and the socket reads only between
    // records: the quiet that counts is one the client was listening through.
    stirred_.restart();
    if (closing_) {
        finishClosing();
    } else if (more_ || due_) {
        due_ = false;
        arriveSoon();
    }
}

void Connection::onDisconnected() {
    closing_ = true;
    if (!handing_) {
        finishClosing(); // else once the piece being handled is done
    }
}

void Connection::finishClosing() {
    // Data that came in just before the close is still delivered first.
    arrivalTimer_.stop();
    due_ = more_ = false;
    const QPointer<Connection> alive(this);
    fill();
    while (closing_ && pieceEnd() > 0) {
        const qint64 before = waiting();
        handing_ = true;
        emit dataArrival(before);
        if (!alive) {
            return;
        }
        handing_ = false;
        fill();
        if (waiting() >= before) {
            break; // nobody took it
        }
    }
    // A new connection started meanwhile is not the one that closed.
    if (std::exchange(closing_, false)) {
        emit closed();
    }
}

} // namespace velmora
