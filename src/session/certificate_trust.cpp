#include "session/certificate_trust.h"

#include "platform/prompter.h"
#include "session/session.h"
#include "settings/known_servers.h"

#include <QCryptographicHash>
#include <QSslCertificate>
#include <QSslError>
#include <QStringList>

namespace velmora {

QString certificateFingerprint(const QSslCertificate& certificate) {
    return QString::fromLatin1(certificate.digest(QCryptographicHash::Sha256).toHex(':').toUpper());
}

bool CertificateTrust::check(const QString& server, const QSslCertificate& certificate,
                             const QList<QSslError>& errors) {
    refusal_.reset();
    const QString path = session_.settings().knownServersPath();
    const QString fingerprint = certificateFingerprint(certificate);
    QString trusted;
    switch (known_servers::match(path, server, fingerprint, &trusted)) {
    case known_servers::Match::Same:
        return true;
    case known_servers::Match::Changed:
        refusal_ =
            QStringLiteral("Error: The certificate of ") + server +
            QStringLiteral(" has changed since you trusted it!\r\n\r\nTrusted SHA-256 fingerprint:"
                           "\r\n") +
            trusted + QStringLiteral("\r\nSHA-256 fingerprint now:\r\n") + fingerprint +
            QStringLiteral("\r\n\r\nSomeone may be listening in, so no connection was made. If "
                           "the server's administrator has replaced the certificate, remove ") +
            server + QStringLiteral(" from known_servers.ini and log in again.");
        return false;
    case known_servers::Match::Unknown:
        break;
    }
    QStringList reasons;
    for (const QSslError& error : errors) {
        reasons.append(error.errorString());
    }
    const QString question =
        QStringLiteral("No certificate authority of this computer vouches for the server ") +
        server + QStringLiteral(":\r\n") + reasons.join(QStringLiteral("\r\n")) +
        QStringLiteral("\r\n\r\nSHA-256 fingerprint of its certificate:\r\n") + fingerprint +
        QStringLiteral("\r\n\r\nIf this is the fingerprint the server's administrator gave you, "
                       "the connection is safe. Trust this certificate from now on and connect?");
    if (session_.showMessage(question, style::kYesNoQuestion,
                             QStringLiteral("Unverified Certificate")) != answer::kYes) {
        refusal_ = QString();
        return false;
    }
    known_servers::remember(path, server, fingerprint);
    return true;
}

} // namespace velmora
