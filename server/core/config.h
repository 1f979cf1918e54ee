// What the operator sets for the behaviour of the hub.
#pragma once

#include "core/password.h"

#include <chrono>
#include <compare>
#include <cstddef>
#include <cstdint>
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
    // File transfer: the largest file (0: no file transfer at all) and the
    // offers one sender may hold at once.
    std::uint64_t fileMaxBytes = std::uint64_t{4} << 30;
    int fileTransfers = 4;
    // A deleted account's name cannot be taken again for this long.
    std::chrono::seconds retireNames{30 * 24 * 3600};
};

// Where clients on other nodes open data connections for offers held here.
struct TransferNode {
    std::string host;
    std::uint16_t port = 0;
    std::uint16_t tlsPort = 0;
};

} // namespace velmora::server::core
