#include "transfer/data_link.h"

#include "protocol/transfer.h"
#include "protocol/wire.h"
#include "session/file_transfers.h"

#include <QSslCertificate>
#include <QSslSocket>

namespace velmora {

namespace t = protocol::transfer;

namespace {

constexpr qint64 kChunk = 64 * 1024;

QByteArray latin(std::string_view text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

QByteArray answerHead(std::string_view word) {
    return latin(protocol::kRecordMark) + latin(protocol::reply::FX) +
           latin(protocol::kReplyFieldSep) + latin(word) + latin(protocol::kReplyFieldSep);
}

} // namespace

DataLink::DataLink(LinkPlan plan, TrustCheck trust, QObject* parent)
    : QObject(parent), plan_(std::move(plan)), trust_(std::move(trust)),
      socket_(new QSslSocket(this)) {
    // What comes in waits in the kernel, not here, while the disk catches up.
    socket_->setReadBufferSize(kBufferBytes);
    connect(socket_, &QSslSocket::connected, this, [this] {
        if (!plan_.tls) {
            onConnected();
        }
    });
    connect(socket_, &QSslSocket::encrypted, this, &DataLink::onConnected);
    connect(socket_, &QSslSocket::sslErrors, this, [this](const QList<QSslError>& errors) {
        if (trust_ && trust_(server(), socket_->peerCertificate())) {
            socket_->ignoreSslErrors(errors);
        } else {
            untrusted_ = QStringLiteral("The certificate of ") + server() +
                         QStringLiteral(" is not one you trust, so the file was not transferred.");
        }
    });
    connect(socket_, &QSslSocket::readyRead, this, &DataLink::onReadyRead);
    connect(socket_, &QSslSocket::bytesWritten, this, [this] {
        if (phase_ == Phase::Stream && plan_.sender) {
            pump();
        }
    });
    connect(socket_, &QSslSocket::disconnected, this, &DataLink::onClosed);
    connect(socket_, &QSslSocket::errorOccurred, this, [this](QAbstractSocket::SocketError) {
        if (socket_->state() != QAbstractSocket::ConnectedState) {
            onClosed();
        }
    });
}

DataLink::~DataLink() {
    phase_ = Phase::Over;
    socket_->disconnect(this);
    socket_->flush(); // a verdict still queued goes out first
    socket_->abort();
}

QString DataLink::server() const {
    return plan_.host + QLatin1Char(protocol::kHostPortSep) + QString::number(plan_.port);
}

void DataLink::start() {
    if (plan_.tls) {
        socket_->connectToHostEncrypted(plan_.host, plan_.port);
    } else {
        socket_->connectToHost(plan_.host, plan_.port);
    }
}

void DataLink::abort() {
    phase_ = Phase::Over;
    socket_->abort();
}

void DataLink::onConnected() {
    phase_ = Phase::Hello;
    socket_->write(
        FileTransfers::hello(plan_.token, plan_.sender, plan_.sender ? 0 : plan_.offset));
}

void DataLink::onReadyRead() {
    switch (phase_) {
    case Phase::Hello:
    case Phase::Refusal:
        readAnswer();
        break;
    case Phase::Stream:
    case Phase::Digest:
        if (!plan_.sender) {
            receive();
        } else {
            // Nothing comes to a sender before its verdict but the verdict.
            buffer_ += socket_->read(t::kMaxVerdictBytes);
        }
        break;
    case Phase::Verdict:
        buffer_ += socket_->read(t::kMaxVerdictBytes);
        if (buffer_.startsWith(latin(t::kVerdictOk))) {
            finish(End::Done);
        } else if (buffer_.startsWith(latin(t::kVerdictBad))) {
            finish(End::Damaged);
        } else if (buffer_.size() >= latin(t::kVerdictBad).size()) {
            finish(End::Failed, QStringLiteral("The server sent no verdict on the file."));
        }
        break;
    case Phase::Connecting:
    case Phase::Over:
        socket_->readAll();
        break;
    }
}

// The node's answer has no end mark and the raw stream follows it at once,
// so it is matched against the one answer this end can take: GO with the
// offset it expects. Anything else is a refusal or a fault.
void DataLink::readAnswer() {
    const QByteArray go = answerHead(t::kGo) + QByteArray::number(plan_.offset);
    const QByteArray no = answerHead(t::kNo);
    if (phase_ == Phase::Hello) {
        buffer_ += socket_->read(go.size() - buffer_.size());
        if (buffer_ == go) {
            buffer_.clear();
            startStream();
            return;
        }
        if (go.startsWith(buffer_)) {
            return;
        }
        if (!buffer_.startsWith(no.left(buffer_.size()))) {
            finish(End::Failed, QStringLiteral("The server gave an answer the file transfer does "
                                               "not understand."));
            return;
        }
        phase_ = Phase::Refusal;
    }
    buffer_ += socket_->read(static_cast<qint64>(t::kMaxHelloBytes) - buffer_.size());
    socket_->readAll(); // past any sane reason: dropped
}

void DataLink::startStream() {
    file_.setFileName(plan_.path);
    const bool opened = plan_.sender ? file_.open(QIODevice::ReadOnly)
                                     : file_.open(QIODevice::ReadWrite | QIODevice::Append);
    if (!opened || !hashFirst(file_, plan_.offset)) {
        finish(End::Failed,
               QStringLiteral("The file ") + plan_.path + QStringLiteral(" could not be ") +
                   (plan_.sender ? QStringLiteral("read.") : QStringLiteral("written.")));
        return;
    }
    done_ = plan_.offset;
    phase_ = Phase::Stream;
    emit joined();
    if (plan_.sender) {
        pump();
    } else {
        receive();
    }
}

bool DataLink::hashFirst(QFile& file, quint64 bytes) {
    if (!file.seek(0)) {
        return false;
    }
    quint64 left = bytes;
    while (left > 0) {
        const QByteArray piece = file.read(std::min<qint64>(kChunk, static_cast<qint64>(left)));
        if (piece.isEmpty()) {
            return false;
        }
        hash_.addData(piece);
        left -= static_cast<quint64>(piece.size());
    }
    return plan_.sender ? file.seek(static_cast<qint64>(bytes)) : true;
}

void DataLink::pump() {
    while (done_ < plan_.size && socket_->bytesToWrite() < kBufferBytes) {
        const QByteArray piece =
            file_.read(std::min<qint64>(kChunk, static_cast<qint64>(plan_.size - done_)));
        if (piece.isEmpty()) {
            finish(End::Failed, QStringLiteral("The file ") + plan_.path +
                                    QStringLiteral(" became shorter while it was being sent."));
            return;
        }
        hash_.addData(piece);
        socket_->write(piece);
        done_ += static_cast<quint64>(piece.size());
        emit progress(done_);
    }
    if (done_ == plan_.size) {
        socket_->write(hash_.result().toHex());
        file_.close();
        phase_ = Phase::Verdict;
        if (!buffer_.isEmpty()) {
            onReadyRead();
        }
    }
}

void DataLink::receive() {
    const bool wasShort = done_ < plan_.size;
    while (done_ < plan_.size && socket_->bytesAvailable() > 0) {
        const QByteArray piece =
            socket_->read(std::min<qint64>(kChunk, static_cast<qint64>(plan_.size - done_)));
        if (file_.write(piece) != piece.size()) {
            finish(End::Failed, QStringLiteral("The file ") + plan_.path +
                                    QStringLiteral(" could not be written."));
            return;
        }
        hash_.addData(piece);
        done_ += static_cast<quint64>(piece.size());
    }
    if (wasShort) {
        // On disk at once: a resume starts from the part file's size.
        file_.flush();
        emit progress(done_);
    }
    if (done_ < plan_.size) {
        return;
    }
    phase_ = Phase::Digest;
    buffer_ += socket_->read(static_cast<qint64>(t::kDigestHexChars) - buffer_.size());
    socket_->readAll(); // whatever a peer sends past the digest is not the file's
    if (buffer_.size() < static_cast<qsizetype>(t::kDigestHexChars)) {
        return;
    }
    file_.close();
    const bool whole = buffer_ == hash_.result().toHex();
    phase_ = Phase::Over;
    socket_->write(latin(whole ? t::kVerdictOk : t::kVerdictBad));
    socket_->flush();
    socket_->disconnectFromHost();
    emit ended(whole ? End::Done : End::Damaged, QString());
}

void DataLink::onClosed() {
    if (phase_ == Phase::Over) {
        return;
    }
    if (!untrusted_.isEmpty()) {
        finish(End::Failed, untrusted_);
        return;
    }
    if (phase_ == Phase::Refusal) {
        buffer_ += socket_->read(static_cast<qint64>(t::kMaxHelloBytes));
        const QByteArray reason =
            buffer_.mid(answerHead(t::kNo).size(), static_cast<qsizetype>(t::kMaxHelloBytes))
                .trimmed();
        finish(End::Refused, QString::fromLatin1(reason));
        return;
    }
    if (!plan_.sender && (phase_ == Phase::Stream || phase_ == Phase::Digest)) {
        receive(); // what came just before the close
        if (phase_ == Phase::Over) {
            return;
        }
    }
    if (phase_ == Phase::Verdict) {
        buffer_ += socket_->readAll().left(static_cast<qsizetype>(t::kMaxVerdictBytes));
        onReadyRead();
        if (phase_ == Phase::Over) {
            return;
        }
    }
    finish(End::Cut);
}

void DataLink::finish(End end, const QString& detail) {
    if (phase_ == Phase::Over) {
        return;
    }
    phase_ = Phase::Over;
    file_.close();
    socket_->abort();
    emit ended(end, detail);
}

} // namespace velmora
