// The name and password rules, for the text the user types into a window.
#pragma once

#include <QString>

namespace velmora {

// Letters of either case, digits, "_" and "-". An empty name passes; each
// caller checks the length it needs on its own.
[[nodiscard]] bool isValidUserName(const QString& name);
// Long enough to be a user name.
[[nodiscard]] bool isLongEnoughName(const QString& name);
[[nodiscard]] bool isLongEnoughPassword(const QString& password);
// Long enough and without the character passwords may not hold.
[[nodiscard]] bool isAcceptablePassword(const QString& password);

} // namespace velmora
