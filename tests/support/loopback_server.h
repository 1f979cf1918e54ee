// A QTcpServer on 127.0.0.1 that plays the IM server for one client: it
// records what the client sends and writes whatever a test tells it to.
#pragma once

#include <QByteArray>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace velmora::test {

class LoopbackServer : public QObject {
public:
    LoopbackServer() {
        server_.listen(QHostAddress::LocalHost, 0);
        QObject::connect(&server_, &QTcpServer::newConnection, this, [this] {
            peer_ = server_.nextPendingConnection();
            QObject::connect(peer_, &QTcpSocket::readyRead, this,
                             [this] { received_ += peer_->readAll(); });
        });
    }
    [[nodiscard]] quint16 port() const { return server_.serverPort(); }
    [[nodiscard]] QString address() const {
        return QStringLiteral("127.0.0.1:") + QString::number(port());
    }
    bool waitForPeer(int ms = 5000) {
        return QTest::qWaitFor([this] { return !peer_.isNull(); }, ms);
    }
    void send(const QByteArray& bytes) {
        peer_->write(bytes);
        peer_->flush();
    }
    void closePeer() { peer_->disconnectFromHost(); }
    // Waits until the client has sent at least `bytes`.
    bool waitForReceived(const QByteArray& bytes, int ms = 5000) {
        return QTest::qWaitFor([&] { return received_.contains(bytes); }, ms);
    }
    [[nodiscard]] QByteArray received() const { return received_; }
    void clearReceived() { received_.clear(); }

private:
    QTcpServer server_;
    QPointer<QTcpSocket> peer_;
    QByteArray received_;
};

} // namespace velmora::test
