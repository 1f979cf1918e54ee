// Trust on first use, for a server whose certificate no authority of this
// computer vouches for (a server of one's own, with a certificate it made
// itself): the user is shown the certificate's SHA-256 fingerprint and says
// whether to trust it; a yes is kept in known_servers.ini for that server
// ("host:port"), and from then on only that certificate is accepted there,
// without asking. Another certificate on that server is refused.
#pragma once

#include <QList>
#include <QString>

#include <optional>

class QSslCertificate;
class QSslError;

namespace velmora {

class Session;

// "AB:CD:..." over the certificate's DER bytes, as the openssl command and
// browsers show it.
[[nodiscard]] QString certificateFingerprint(const QSslCertificate& certificate);

class CertificateTrust {
public:
    explicit CertificateTrust(Session& session) : session_(session) {}

    // The connection's question for `server`: true goes on with `certificate`.
    bool check(const QString& server, const QSslCertificate& certificate,
               const QList<QSslError>& errors);
    // Why the last attempt was refused over its certificate: nothing when it
    // was not, an empty text when the user said no, else the message to show.
    [[nodiscard]] const std::optional<QString>& refusal() const { return refusal_; }
    void reset() { refusal_.reset(); }

private:
    Session& session_;
    std::optional<QString> refusal_;
};

} // namespace velmora
