#include "shell/password_rules.h"

#include "session/user_name.h"

namespace velmora {

QString tooShortText() {
    return QStringLiteral("Error: Usernames & Passwords must be at least 5 characters long!");
}

QString newPasswordRefusal(const QString& password, const QString& confirmation) {
    if (!isLongEnoughPassword(password)) {
        return tooShortText();
    }
    if (!isAcceptablePassword(password)) {
        return QStringLiteral("Error: Passwords cannot contain a \":\" character!");
    }
    if (password != confirmation) {
        return QStringLiteral("Error: The passwords you entered did not match!");
    }
    return QString();
}

} // namespace velmora
