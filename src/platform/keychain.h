// Where a saved password can live outside the settings file: the desktop's
// keychain. Each call finishes before it returns.
#pragma once

#include <QString>

namespace velmora {

class Keychain {
public:
    enum class Result { Done, NotFound, Unavailable };

    virtual ~Keychain() = default;
    // The password saved for `account` into `password`.
    virtual Result read(const QString& account, QString& password) = 0;
    virtual Result write(const QString& account, const QString& password) = 0;
    // Removing a password that is not there is Done.
    virtual Result remove(const QString& account) = 0;
};

} // namespace velmora
