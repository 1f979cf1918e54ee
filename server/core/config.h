// What the operator sets for the behaviour of the hub.
#pragma once

#include "core/password.h"

#include <chrono>
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
    int maxLoginsPerMinute = 30; // failed logins and sign-ups per address; 0 = no limit
    int maxViolations = 20;      // protocol violations before a connection is closed; 0 = never
    std::size_t credentialCacheEntries = 10000;
    std::chrono::seconds credentialCacheAge{3600};
    std::size_t maxNameLength = 32;
    HashCost hashCost = HashCost::Interactive;
};

} // namespace velmora::server::core
