// The server list "IMServers.ini": section "Servers", "Count" and one
// "Server" + i key per address. Saving never removes keys, so a list that
// shrinks leaves its old higher keys behind; loading stops at "Count".
#pragma once

#include <QString>
#include <QStringList>

namespace velmora::server_list {

// Raises AppError 13 when "Count" is not a number. A missing file is an
// empty list.
[[nodiscard]] QStringList load(const QString& path);

// Writes "Server1".."ServerN" first and "Count" last, so a crash in the
// middle never makes the count point past the addresses written.
void save(const QString& path, const QStringList& servers);

} // namespace velmora::server_list
