#include "session/user_name.h"

#include "protocol/names.h"

namespace velmora {

bool isValidUserName(const QString& name) {
    // Only ASCII counts: Unicode case mapping would let characters such as a
    // dotless i turn into an allowed letter.
    for (const QChar c : name) {
        if (c.unicode() > 0x7F) {
            return false;
        }
    }
    return protocol::isNameText(name.toLatin1().toStdString());
}

bool isLongEnoughName(const QString& name) {
    return protocol::isLongEnoughName(static_cast<std::size_t>(name.size()));
}

bool isLongEnoughPassword(const QString& password) {
    return password.size() >= static_cast<qsizetype>(protocol::kMinPasswordLength);
}

bool isAcceptablePassword(const QString& password) {
    return isLongEnoughPassword(password) &&
           !password.contains(QLatin1Char(protocol::kPasswordForbidden));
}

} // namespace velmora
