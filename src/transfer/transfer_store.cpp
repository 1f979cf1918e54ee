#include "transfer/transfer_store.h"

#include "protocol/transfer.h"
#include "session/user_name.h"

#include <QDir>
#include <QSettings>

namespace velmora::transfer_store {

QString pathIn(const QString& appFolder) {
    return QDir(appFolder).filePath(QStringLiteral("Transfers.ini"));
}

QList<KeptTransfer> load(const QString& path) {
    QSettings ini(path, QSettings::IniFormat);
    QList<KeptTransfer> kept;
    for (const QString& token : ini.childGroups()) {
        ini.beginGroup(token);
        KeptTransfer t;
        t.token = token;
        t.outgoing = ini.value(QStringLiteral("direction")).toString() == QLatin1String("out");
        t.peer = ini.value(QStringLiteral("peer")).toString();
        t.name = ini.value(QStringLiteral("name")).toString();
        t.size = ini.value(QStringLiteral("size")).toULongLong();
        t.path = ini.value(QStringLiteral("path")).toString();
        t.folder = ini.value(QStringLiteral("folder")).toString();
        t.finalName = ini.value(QStringLiteral("final")).toString();
        t.id = ini.value(QStringLiteral("id"), token).toString();
        ini.endGroup();
        // A hand-edited entry that names no transfer of ours is left alone.
        if (protocol::isOfferToken(token.toStdString()) && isValidUserName(t.peer) &&
            !t.peer.isEmpty() && (t.outgoing ? !t.path.isEmpty() : !t.finalName.isEmpty())) {
            kept.append(t);
        }
    }
    return kept;
}

void keep(const QString& path, const KeptTransfer& t) {
    QSettings ini(path, QSettings::IniFormat);
    ini.beginGroup(t.token);
    ini.setValue(QStringLiteral("direction"),
                 t.outgoing ? QStringLiteral("out") : QStringLiteral("in"));
    ini.setValue(QStringLiteral("peer"), t.peer);
    ini.setValue(QStringLiteral("name"), t.name);
    ini.setValue(QStringLiteral("size"), t.size);
    if (t.outgoing) {
        ini.setValue(QStringLiteral("path"), t.path);
    } else {
        ini.setValue(QStringLiteral("folder"), t.folder);
        ini.setValue(QStringLiteral("final"), t.finalName);
        ini.setValue(QStringLiteral("id"), t.id);
    }
    ini.endGroup();
    ini.sync();
}

void forget(const QString& path, const QString& token) {
    QSettings ini(path, QSettings::IniFormat);
    ini.remove(token);
    ini.sync();
}

} // namespace velmora::transfer_store
