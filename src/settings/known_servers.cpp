#include "settings/known_servers.h"

#include "platform/ini_file.h"

namespace velmora::known_servers {

namespace {
const QString kSection = QStringLiteral("Fingerprints");
} // namespace

Match match(const QString& path, const QString& server, const QString& fingerprint,
            QString* trusted) {
    const QString stored = IniFile::read(kSection, server, QString(), path);
    if (trusted) {
        *trusted = stored;
    }
    if (stored.isEmpty()) {
        return Match::Unknown;
    }
    return stored.compare(fingerprint, Qt::CaseInsensitive) == 0 ? Match::Same : Match::Changed;
}

void remember(const QString& path, const QString& server, const QString& fingerprint) {
    IniFile::write(kSection, server, fingerprint, path);
}

} // namespace velmora::known_servers
