// The keys of "Velmora.ini" that fit the client into the desktop around it.
// Each is read with its default and written only when the user changes it,
// so a file that never had the key keeps it so.
#pragma once

#include "settings/settings.h"

namespace velmora {

class DesktopSettings {
public:
    explicit DesktopSettings(const Settings& settings) : path_(settings.path()) {}

    // [Settings] "Notify": a desktop notification for a message or an
    // invitation that arrives while its window is not in front (on when absent).
    [[nodiscard]] qint16 notify() const;
    void setNotify(bool on);
    // [Login Options] "L-Keychain": a saved password lives in the system
    // keychain and "L-Pass" stays empty (off when absent).
    [[nodiscard]] qint16 keychain() const;
    void setKeychain(bool on);

private:
    QString path_;
};

} // namespace velmora
