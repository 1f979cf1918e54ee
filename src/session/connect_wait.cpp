#include "session/connect_wait.h"

#include "platform/app_error.h"
#include "platform/number_text.h"
#include "protocol/wire.h"
#include "session/connection.h"

#include <QEventLoop>
#include <QStringList>

namespace velmora {

quint16 defaultPortOf(const Connection& connection) {
    return connection.encrypted() ? protocol::kDefaultTlsPort : protocol::kDefaultPort;
}

void connectToAddress(Connection& connection, const QString& address, quint16 defaultPort) {
    const QStringList parts = address.split(QLatin1Char(protocol::kHostPortSep));
    quint16 port = defaultPort;
    if (parts.size() > 1) {
        const qint32 wanted = number_text::toInt32(parts[1]);
        if (wanted < 1 || wanted > 65535) {
            throw AppError(err::kInvalidPropertyValue, QStringLiteral("ConnSock"),
                           QStringLiteral("Invalid property value"));
        }
        port = static_cast<quint16>(wanted);
    }
    connection.setRemoteHost(parts[0]);
    connection.setRemotePort(port);
    connection.Connect();
}

bool waitForConnection(Connection& connection, const QObject& window) {
    const int state = connection.State();
    const bool pending =
        state != Connection::Connected && state != Connection::Error && state != Connection::Closed;
    if (pending) {
        QEventLoop loop;
        QObject::connect(&connection, &Connection::connected, &loop, &QEventLoop::quit);
        QObject::connect(&connection, &Connection::errorOccurred, &loop, &QEventLoop::quit);
        QObject::connect(&connection, &Connection::closed, &loop, &QEventLoop::quit);
        QObject::connect(&window, &QObject::destroyed, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return connection.State() == Connection::Connected;
}

} // namespace velmora
