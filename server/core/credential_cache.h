// Remembers recently verified logins so that a reconnect storm (a server
// restart, a flaky office network) costs microseconds instead of one Argon2id
// run per user. Only a keyed BLAKE2b of name, password and stored hash is
// kept, under a key made at random for this process: the cache holds nothing
// that would help to find a password, and a changed password (a new stored
// hash) no longer matches.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>
#include <unordered_map>

namespace velmora::server::core {

class CredentialCache {
public:
    using Clock = std::chrono::steady_clock;

    CredentialCache(std::size_t maxEntries, Clock::duration maxAge);

    [[nodiscard]] bool matches(std::int64_t user, std::string_view name, std::string_view password,
                               std::string_view hash, Clock::time_point now) const;
    void remember(std::int64_t user, std::string_view name, std::string_view password,
                  std::string_view hash, Clock::time_point now);
    void forget(std::int64_t user) { entries_.erase(user); }

    [[nodiscard]] std::size_t size() const { return entries_.size(); }

private:
    using Digest = std::array<unsigned char, 32>;
    struct Entry {
        Digest digest;
        Clock::time_point at;
    };

    [[nodiscard]] Digest digest(std::string_view name, std::string_view password,
                                std::string_view hash) const;
    void evict(Clock::time_point now);
    // The remembered logins oldest first, rebuilt from the map when refreshes
    // have left it twice the map's size.
    void compactOrder();

    std::size_t maxEntries_;
    Clock::duration maxAge_;
    std::array<unsigned char, 32> key_{};
    std::unordered_map<std::int64_t, Entry> entries_;
    // Every remember() in the order made: the oldest entry is at the front,
    // behind records of entries refreshed or forgotten since, so that a full
    // cache evicts in constant time rather than by a search of the map.
    std::deque<std::pair<std::int64_t, Clock::time_point>> order_;
};

} // namespace velmora::server::core
