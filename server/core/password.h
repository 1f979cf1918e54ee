// Argon2id password hashes (libsodium's self-describing string format), and
// the unit of work the password pool runs off the network thread.
#pragma once

#include <cstdint>
#include <string>

namespace velmora::server::core {

enum class HashCost {
    Interactive, // libsodium's interactive limits: the production default
    Fast,        // the minimum limits, for test suites that create many accounts
};

struct PasswordJob;

class PasswordHasher {
public:
    explicit PasswordHasher(HashCost cost);

    [[nodiscard]] std::string hash(const std::string& password) const;
    // Hashes of either cost verify, whatever this hasher's own cost.
    [[nodiscard]] bool verify(const std::string& hash, const std::string& password) const;
    // True when `hash` was made with other limits than this hasher's.
    [[nodiscard]] bool needsRehash(const std::string& hash) const;
    // True when the job runs at the minimum cost (tens of microseconds, less
    // than handing it to another thread and back).
    [[nodiscard]] bool isCheap(const PasswordJob& job) const;

private:
    HashCost cost_;
    unsigned long long opsLimit_;
    std::size_t memLimit_;
};

using ConnId = std::uint64_t;

// Checking a login's password, hashing a new account's, and the user's own
// account commands: checking the current password, then (Change) hashing
// the new one.
struct PasswordJob {
    enum class Kind { Verify, Hash, Change, Confirm };
    Kind kind = Kind::Verify;
    ConnId conn = 0;
    std::int64_t user = 0; // Verify: the account, 0 for an unknown name
    std::string name;
    std::string password;
    std::string hash;          // Verify: the stored hash (a decoy for an unknown name)
    std::string newPassword{}; // Change
};

struct PasswordResult {
    PasswordJob job;
    bool ok = false;
    // Hash, Change: the new hash. Verify: a stronger hash when the stored one is
    // weaker than the configured cost, else empty.
    std::string hash;
};

// Runs one job; slow by design (tens of milliseconds at the interactive cost).
[[nodiscard]] PasswordResult runPasswordJob(PasswordJob job, const PasswordHasher& hasher);

} // namespace velmora::server::core
