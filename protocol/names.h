// The rules for user names and passwords, applied alike by the client's
// windows before anything is sent and by velmorad before an account is made.
#pragma once

#include <cstddef>
#include <string_view>

namespace velmora::protocol {

inline constexpr std::size_t kMinNameLength = 5;
inline constexpr std::size_t kMinPasswordLength = 5;
// Conference rooms follow the name rule with a shorter least length.
inline constexpr std::size_t kMinRoomNameLength = 4;
// The one character a password may not hold: old servers kept accounts in
// colon-separated files.
inline constexpr char kPasswordForbidden = ':';

// Letters of either case, digits, "_" and "-" (ASCII only). An empty name
// passes: each caller checks the length it needs.
[[nodiscard]] constexpr bool isNameText(std::string_view name) {
    for (const char c : name) {
        const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                        (c >= '0' && c <= '9') || c == '_' || c == '-';
        if (!ok) {
            return false;
        }
    }
    return true;
}

[[nodiscard]] constexpr bool isLongEnoughName(std::size_t length) {
    return length >= kMinNameLength;
}

// Long enough and free of the forbidden character.
[[nodiscard]] constexpr bool isAcceptablePassword(std::string_view password) {
    return password.size() >= kMinPasswordLength &&
           password.find(kPasswordForbidden) == std::string_view::npos;
}

} // namespace velmora::protocol
