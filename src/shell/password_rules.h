// The rules a new password follows, with their messages: the sign-up
// window and the change of password check the same way and say the same.
#pragma once

#include <QString>

namespace velmora {

// "Error: Usernames & Passwords must be at least 5 characters long!"
[[nodiscard]] QString tooShortText();
// The first rule `password` and its confirmation break, or empty when they
// pass: long enough, no colon, both the same.
[[nodiscard]] QString newPasswordRefusal(const QString& password, const QString& confirmation);

} // namespace velmora
