// Argon2id password hashes (libsodium's self-describing string format).
#pragma once

#include <string>

namespace velmora::server::core {

enum class HashCost {
    Interactive, // libsodium's interactive limits: the production default
    Fast,        // the minimum limits, for test suites that create many accounts
};

class PasswordHasher {
public:
    explicit PasswordHasher(HashCost cost);

    [[nodiscard]] std::string hash(const std::string& password) const;
    // Hashes of either cost verify, whatever this hasher's own cost.
    [[nodiscard]] bool verify(const std::string& hash, const std::string& password) const;

private:
    unsigned long long opsLimit_;
    std::size_t memLimit_;
};

} // namespace velmora::server::core
