// The user-name rule that every window applies to a name the user types:
// letters of either case, digits, "_" and "-". An empty name passes; each
// caller checks the length it needs on its own.
#pragma once

#include <QString>

namespace velmora {

[[nodiscard]] bool isValidUserName(QString name);

} // namespace velmora
