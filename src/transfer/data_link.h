// One data connection of a transfer, from either end, to the node that holds
// the offer: the hello, the node's answer, then the raw stream. The sender
// streams its file from the agreed offset and then the SHA-256 of the whole
// file; the receiver appends to its part file exactly the bytes still
// missing (a peer that sends more cannot grow it), checks the digest over the
// whole file and answers with its verdict.
#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <QFile>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>

class QSslCertificate;
class QSslError;
class QSslSocket;

namespace velmora {

struct LinkPlan {
    QString host;
    quint16 port = 0;
    bool tls = false;
    QString token;
    bool sender = false;
    // Sender: the offset the receiver asked for. Receiver: what it has.
    quint64 offset = 0;
    quint64 size = 0;
    // Sender: the file. Receiver: its part file.
    QString path;
};

class DataLink : public QObject {
    Q_OBJECT
public:
    enum class End {
        Done,    // the receiver found the file whole
        Damaged, // the digest did not match
        Refused, // the node said NO; detail: its reason
        Cut,     // the connection ended before the verdict
        Failed,  // detail: the message for the user
    };
    // Whether a certificate no authority vouches for is still trusted.
    using TrustCheck = std::function<bool(const QString& server, const QSslCertificate&)>;

    // Keep what the socket buffers in either direction to about this.
    static constexpr qint64 kBufferBytes = 1024 * 1024;

    DataLink(LinkPlan plan, TrustCheck trust, QObject* parent = nullptr);
    ~DataLink() override;
    DataLink(const DataLink&) = delete;
    DataLink& operator=(const DataLink&) = delete;

    void start();
    // Ends the connection quietly: no ended() follows.
    void abort();
    [[nodiscard]] const LinkPlan& plan() const { return plan_; }

signals:
    // The node joined both ends: the stream begins.
    void joined();
    // Bytes of the file at this end so far, counting what it had before.
    void progress(quint64 bytes);
    void ended(velmora::DataLink::End end, const QString& detail);

private:
    enum class Phase { Connecting, Hello, Refusal, Stream, Digest, Verdict, Over };

    void onConnected();
    void onReadyRead();
    void onClosed();
    void readAnswer();
    void startStream();
    void pump();
    void receive();
    void finish(End end, const QString& detail = QString());
    // Feeds the file's first `bytes` into the hash.
    bool hashFirst(QFile& file, quint64 bytes);
    [[nodiscard]] QString server() const;

    LinkPlan plan_;
    TrustCheck trust_;
    QSslSocket* socket_;
    QFile file_;
    QCryptographicHash hash_{QCryptographicHash::Sha256};
    QByteArray buffer_;
    quint64 done_ = 0; // bytes of the file at this end
    Phase phase_ = Phase::Connecting;
    QString untrusted_;
};

} // namespace velmora
