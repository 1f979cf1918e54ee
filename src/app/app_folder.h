// The application folder: where the settings, the server list, the offline
// message database, the sounds and the smilies live.
#pragma once

#include <QString>
#include <QStringList>

namespace velmora {

// `--home DIR` wins, then VELMORA_HOME, then the executable's own folder.
// The folder is created when missing; the shipped assets are copied into it
// when it does not have them yet.
[[nodiscard]] QString resolveAppFolder(const QStringList& arguments, const QString& executableDir);

} // namespace velmora
