// A user's own account, from the client: changing its password and deleting
// it. Both ask for the current password again, so that a session left open
// on someone else's screen cannot take the account.
//
//   → " ## cmdCP /:/ alice /:/ old password /:/ new password"
//   ← " ## +CP /$/ OK"
//   → " ## cmdDA /:/ alice /:/ password"
//   ← " ## +DA /$/ OK", then the server ends the session
#pragma once

#include <string_view>

namespace velmora::protocol {

// user, current password, new password.
inline constexpr std::string_view kHeadCP = " ## cmdCP /:/ ";
// user, current password.
inline constexpr std::string_view kHeadDA = " ## cmdDA /:/ ";

namespace cmd {
inline constexpr std::string_view CP = "cmdCP";
inline constexpr std::string_view DA = "cmdDA";
} // namespace cmd

namespace reply {
// " ## +CP /$/ <outcome>" and " ## +DA /$/ <outcome>".
inline constexpr std::string_view CP = "+CP";
inline constexpr std::string_view DA = "+DA";
} // namespace reply

namespace account {
inline constexpr std::string_view kDone = "OK";
// The current password given is not the account's.
inline constexpr std::string_view kWrongPassword = "WP";
// The new password breaks the sign-up rules (isAcceptablePassword).
inline constexpr std::string_view kInvalid = "IN";
// This server does not let users change or delete their accounts
// themselves (it runs with sign-up off); the operator does it.
inline constexpr std::string_view kRefused = "RNE";
// Too many wrong passwords from this address: try again later.
inline constexpr std::string_view kLimited = "LIM";
} // namespace account

} // namespace velmora::protocol
