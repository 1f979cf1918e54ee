// The desktop's keychain (the Secret Service on Linux desktops) through
// qtkeychain. Passwords are filed under the service "Velmora", one entry per
// account, and never fall back on a plain file of qtkeychain's own: that is
// the caller's choice to make.
#pragma once

#include "platform/keychain.h"

namespace velmora {

class SecretKeychain : public Keychain {
public:
    Result read(const QString& account, QString& password) override;
    Result write(const QString& account, const QString& password) override;
    Result remove(const QString& account) override;
};

} // namespace velmora
