#include "contacts/user_name.h"

namespace velmora {

bool isValidUserName(QString name) {
    static const QString kAllowed = QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890_-");
    for (const QChar c : name) {
        // Only the ASCII letters count: Unicode case mapping would let
        // characters such as a dotless i turn into an allowed letter.
        if (c.unicode() > 0x7F || !kAllowed.contains(c.toUpper())) {
            return false;
        }
    }
    return true;
}

} // namespace velmora
