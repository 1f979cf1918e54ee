// Counts attempts per key (a peer address) over a sliding minute.
#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <unordered_map>

namespace velmora::server::core {

class RateLimiter {
public:
    using Clock = std::chrono::steady_clock;

    // At most `perMinute` attempts per key; 0 means no limit.
    explicit RateLimiter(int perMinute) : limit_(perMinute) {}

    // Records an attempt; false when the key is over its limit.
    [[nodiscard]] bool allow(const std::string& key, Clock::time_point now);

private:
    void forgetIdle(Clock::time_point now);

    int limit_;
    std::unordered_map<std::string, std::deque<Clock::time_point>> attempts_;
};

} // namespace velmora::server::core
