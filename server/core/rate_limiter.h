// Counts failures per key (a peer address) over a sliding minute. Successes
// are not counted: an office behind one address logs in again after a server
// restart however many people it has.
#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <unordered_map>

namespace velmora::server::core {

class RateLimiter {
public:
    using Clock = std::chrono::steady_clock;

    // At most `perMinute` failures per key; 0 means no limit.
    explicit RateLimiter(int perMinute) : limit_(perMinute) {}

    // True when the key has used up its failures of the last minute.
    [[nodiscard]] bool blocked(const std::string& key, Clock::time_point now);
    void fail(const std::string& key, Clock::time_point now);

private:
    void forget(std::deque<Clock::time_point>& times, Clock::time_point now) const;
    void forgetIdle(Clock::time_point now);

    int limit_;
    std::unordered_map<std::string, std::deque<Clock::time_point>> failures_;
};

} // namespace velmora::server::core
