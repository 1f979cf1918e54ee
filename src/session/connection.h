// `ConnSock`: the one TCP connection to the IM server, with the states and
// operations the rest of the client expects of a socket control.
//
// Data arrival is coalesced: the event fires a short time after the first
// byte not yet handed over came in (however much follows meanwhile), so a
// record the server wrote in one send reaches the dispatcher whole even when
// TCP delivers it in pieces, and a steady stream is never held back. A
// record still coming in waits until the line has been quiet for that time;
// one that still arrives in two events is handled as it falls.
//
// Each arrival hands over at most one piece, so that what a handler works on
// stays bounded however much the server sends. A piece ends just before a
// record mark, never inside a record; only a record larger than a piece is
// cut at its end. Whatever a piece leaves follows in the next one at once,
// until the socket is drained, and never while one is still being handled:
// the dispatcher yields to the event loop between records.
//
// Encrypted, the connection is TLS to the server's TLS port, and counts as
// connected once the handshake is done; the bytes inside are the same.
// Plain, it is an ordinary TCP connection, byte for byte.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
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
    // The certificate the server showed on the current TLS connection.
    [[nodiscard]] QSslCertificate peerCertificate() const;
    // Asked when the server's certificate cannot be verified against the
    // system's authorities (`errors` says why): true goes on with it.
    // Without one, such a certificate ends the attempt.
    using CertificateCheck =
        std::function<bool(const QSslCertificate& certificate, const QList<QSslError>& errors)>;
    void setCertificateCheck(CertificateCheck check) { certificateCheck_ = std::move(check); }
    // One command in one send. Raises error 40006 when not connected.
    void SendData(const QString& data);
    // The next piece of what has arrived, as one string: up to its end once
    // the line has been quiet for the arrival delay (or the peer closed),
    // otherwise the whole records at its start. A character cut by the
    // network waits for the rest of its bytes.
    [[nodiscard]] QString GetData();

    // Time from the first unhandled byte until data arrival fires, and the
    // quiet that lets a record still coming in go as it is; 0 fires on
    // every read and hands over everything.
    void setArrivalDelayMs(int ms) { arrivalDelayMs_ = ms; }
    [[nodiscard]] int arrivalDelayMs() const { return arrivalDelayMs_; }

signals:
    void dataArrival(qint64 bytesTotal);
    // The peer closed the connection (not raised by Close()).
    void closed();
    void connected();
    void errorOccurred(const QString& description);

private:
    void onReadyRead();
    void onDisconnected();
    // Hands the next piece to the dispatcher, when there is one.
    void arrive();
    void arriveSoon();
    // What the peer sent before it closed, then closed().
    void finishClosing();
    // Tops pending_ up from the socket to one piece and a mark.
    void fill();
    // How many bytes of pending_ the next piece takes; 0 when nothing can go yet.
    [[nodiscard]] qsizetype pieceEnd() const;
    // Bytes came in that pending_ does not hold yet.
    [[nodiscard]] bool moreBehind() const;
    // TCP keepalive, so that a connection the network lost ends on its own.
    void watchForVanishing();
    [[nodiscard]] bool quiet() const;
    [[nodiscard]] qint64 waiting() const;

    QSslSocket* socket_;
    CertificateCheck certificateCheck_;
    QTimer arrivalTimer_;
    int arrivalDelayMs_;
    // Since bytes last came in, or a piece being handled let the event loop
    // go again.
    QElapsedTimer stirred_;
    QString remoteHost_;
    quint16 remotePort_ = 0;
    quint16 localPort_ = 0;
    // Read from the socket, not yet handed over.
    QByteArray pending_;
    // A piece is being handled.
    bool handing_ = false;
    // An arrival fell due while a piece was being handled.
    bool due_ = false;
    // The last piece stopped short of what had come in.
    bool more_ = false;
    bool queued_ = false;
    // The peer closed while a piece was being handled: the rest, then closed().
    bool closing_ = false;
    bool failed_ = false;
    bool encrypted_ = false;
};

} // namespace velmora
