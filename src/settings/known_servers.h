// "known_servers.ini" beside the program: the certificates the user chose to
// trust although no authority vouched for them (trust on first use). Section
// "Fingerprints", one key per server, "host:port", holding the SHA-256
// fingerprint of its certificate as "AB:CD:...".
#pragma once

#include <QString>

namespace velmora::known_servers {

enum class Match { Unknown, Same, Changed };

// How `fingerprint` compares with what was trusted for `server`; the one
// trusted is put in `trusted` when there is one.
[[nodiscard]] Match match(const QString& path, const QString& server, const QString& fingerprint,
                          QString* trusted = nullptr);

// Trusts `fingerprint` for `server` from now on.
void remember(const QString& path, const QString& server, const QString& fingerprint);

} // namespace velmora::known_servers
