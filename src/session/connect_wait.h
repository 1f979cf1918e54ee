// The connect step of the login and sign-up windows: point the connection at
// the address the user typed, then wait for the attempt's outcome on the
// connection's signals instead of spinning.
#pragma once

#include <QString>

class QObject;

namespace velmora {

class Connection;

// The port of an address that names none: the TLS one for an encrypted
// connection.
[[nodiscard]] quint16 defaultPortOf(const Connection& connection);

// Starts connecting to "host" or "host:port". A port outside 1..65535 raises
// AppError 380 before the connection is touched.
void connectToAddress(Connection& connection, const QString& address, quint16 defaultPort);

// Runs the event loop until the attempt has connected or failed, or until
// `window` is destroyed meanwhile. True when connected.
[[nodiscard]] bool waitForConnection(Connection& connection, const QObject& window);

} // namespace velmora
