#include "settings/server_list.h"

#include "platform/ini_file.h"
#include "platform/number_text.h"

namespace velmora::server_list {

namespace {

const QString kSection = QStringLiteral("Servers");

QString serverKey(qsizetype index) {
    return QStringLiteral("Server") + QString::number(index);
}

} // namespace

QStringList load(const QString& path) {
    // One snapshot for all keys: a count of 30000 must not re-read the file
    // 30000 times.
    const IniFile::Snapshot file = IniFile::Snapshot::load(path);
    const qint16 count =
        number_text::toInt16(file.read(kSection, QStringLiteral("Count"), QStringLiteral("0")));
    QStringList servers;
    for (int i = 1; i <= count; ++i) {
        servers.append(file.read(kSection, serverKey(i), QString()));
    }
    return servers;
}

void save(const QString& path, const QStringList& servers) {
    for (qsizetype i = 0; i < servers.size(); ++i) {
        IniFile::write(kSection, serverKey(i + 1), servers.at(i), path);
    }
    IniFile::write(kSection, QStringLiteral("Count"), QString::number(servers.size()), path);
}

} // namespace velmora::server_list
