// What the operator sets for the behaviour of the hub.
#pragma once

#include "core/password.h"

#include <compare>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::server::core {

struct Version {
    int major = 0;
    int minor = 0;
    auto operator<=>(const Version&) const = default;
};

// "X.Y" with whole numbers; anything else is not a version.
[[nodiscard]] std::optional<Version> parseVersion(std::string_view text);

struct CoreConfig {
    std::optional<Version> minVersion;
    bool signup = true;
    std::string profileSite;
    int roomLimit = 10;
    std::string welcome;
    int maxOfflinePerUser = 500;
    int maxLoginsPerMinute = 30; // per address, sign-ups included; 0 = no limit
    std::size_t maxNameLength = 32;
    HashCost hashCost = HashCost::Interactive;
};

} // namespace velmora::server::core
