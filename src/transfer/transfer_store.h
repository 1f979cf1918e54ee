// The transfers not yet finished, kept in Transfers.ini in the application
// folder so that they go on after the client or the connection comes back.
// One section per token. Paths can be long, so this is a plain Qt INI file,
// not the settings' 128-character kind.
#pragma once

#include <QList>
#include <QString>
#include <QtGlobal>

namespace velmora {

struct KeptTransfer {
    QString token;
    bool outgoing = false;
    QString peer;
    QString name; // the name offered
    quint64 size = 0;
    QString path;      // outgoing: the file sent
    QString folder;    // incoming: where it goes
    QString finalName; // incoming: its name there, ".part" while it comes
    QString id;        // incoming: the offer's id, with its node
};

namespace transfer_store {

[[nodiscard]] QString pathIn(const QString& appFolder);
[[nodiscard]] QList<KeptTransfer> load(const QString& path);
void keep(const QString& path, const KeptTransfer& transfer);
void forget(const QString& path, const QString& token);

} // namespace transfer_store

} // namespace velmora
