// `ConnSock`: the one TCP connection to the IM server, with the states and
// operations the rest of the client expects of a socket control.
//
// Data arrival is coalesced: the event fires a short time after the first
// byte not yet handed over came in (however much follows meanwhile), so a
// record the server wrote in one send reaches the dispatcher whole even when
// TCP delivers it in pieces, and a steady stream is never held back. A record
// that still arrives in two events is handled as it falls. The socket holds
// a bounded amount; a full buffer fires at once.
//
// Encrypted, the connection is TLS to the server's TLS port, and counts as
// connected once the handshake is done; the bytes inside are the same.
// Plain, it is an ordinary TCP connection, byte for byte.
#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>

class QSslCertificate;
class QSslError;
class QSslSocket;

namespace velmora {

class Connection : public QObject {
    Q_OBJECT
public:
    // Socket control states.
    enum State : int {
        Closed = 0,
        Open = 1,
        ResolvingHost = 4,
        Connecting = 6,
        Connected = 7,
        Closing = 8,
        Error = 9,
    };

    explicit Connection(QObject* parent = nullptr);
    ~Connection() override;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[nodiscard]] int State() const;
    [[nodiscard]] QString RemoteHost() const { return remoteHost_; }
    void setRemoteHost(const QString& host) { remoteHost_ = host; }
    [[nodiscard]] quint16 RemotePort() const { return remotePort_; }
    void setRemotePort(quint16 port) { remotePort_ = port; }
    [[nodiscard]] quint16 LocalPort() const;
    void setLocalPort(quint16 port) { localPort_ = port; }

    void Connect();
    void Close();

    // TLS or plain from the next Connect() on.
    void setEncrypted(bool on) { encrypted_ = on; }
    [[nodiscard]] bool encrypted() const { return encrypted_; }
    // Asked when the server's certificate cannot be verified against the
    // system's authorities (`errors` says why): true goes on with it.
    // Without one, such a certificate ends the attempt.
    using CertificateCheck =
        std::function<bool(const QSslCertificate& certificate, const QList<QSslError>& errors)>;
    void setCertificateCheck(CertificateCheck check) { certificateCheck_ = std::move(check); }
    // One command in one send. Raises error 40006 when not connected.
    void SendData(const QString& data);
    // Everything that has arrived, as one string.
    [[nodiscard]] QString GetData();

    // Time from the first unhandled byte until data arrival fires; 0 fires on
    // every read.
    void setArrivalDelayMs(int ms) { arrivalTimer_.setInterval(ms); }
    [[nodiscard]] int arrivalDelayMs() const { return arrivalTimer_.interval(); }

signals:
    void dataArrival(qint64 bytesTotal);
    // The peer closed the connection (not raised by Close()).
    void closed();
    void connected();
    void errorOccurred(const QString& description);

private:
    void onReadyRead();
    void fireDataArrival();
    void onDisconnected();

    QSslSocket* socket_;
    CertificateCheck certificateCheck_;
    QTimer arrivalTimer_;
    QString remoteHost_;
    quint16 remotePort_ = 0;
    quint16 localPort_ = 0;
    QByteArray pending_;
    bool failed_ = false;
    bool encrypted_ = false;
};

} // namespace velmora
