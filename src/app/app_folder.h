// The application folder: where the settings, the server list, the offline
// message database, the sounds and the smilies live.
#pragma once

#include <QString>

namespace velmora {

// `--home DIR` (given as `home`) wins, then VELMORA_HOME, then the folder of
// the executable in a build tree; an installed client (its shipped files in
// ../share/velmora, or its own folder not writable) uses
// $XDG_DATA_HOME/velmora. The folder is created when missing; the shipped
// sounds, smilies and help are copied into it when it does not have them yet.
[[nodiscard]] QString resolveAppFolder(const QString& home, const QString& executableDir);

} // namespace velmora
