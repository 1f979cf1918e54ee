#include "core/rate_limiter.h"

#include <iterator>

namespace velmora::server::core {

namespace {
constexpr auto kWindow = std::chrono::minutes(1);
// Past this many tracked addresses, idle ones are dropped so that a scan
// from many addresses cannot grow the table without bound.
constexpr std::size_t kTrimAbove = 4096;
} // namespace

void RateLimiter::forget(std::deque<Clock::time_point>& times, Clock::time_point now) const {
    while (!times.empty() && now - times.front() >= kWindow) {
        times.pop_front();
    }
}

bool RateLimiter::blocked(const std::string& key, Clock::time_point now) {
    if (limit_ <= 0) {
        return false;
    }
    const auto it = failures_.find(key);
    if (it == failures_.end()) {
        return false;
    }
    forget(it->second, now);
    return it->second.size() >= static_cast<std::size_t>(limit_);
}

void RateLimiter::fail(const std::string& key, Clock::time_point now) {
    if (limit_ <= 0) {
        return;
    }
    if (failures_.size() > kTrimAbove) {
        forgetIdle(now);
    }
    auto& times = failures_[key];
    forget(times, now);
    if (times.size() < static_cast<std::size_t>(limit_)) {
        times.push_back(now);
    }
}

void RateLimiter::forgetIdle(Clock::time_point now) {
    for (auto it = failures_.begin(); it != failures_.end();) {
        it = (it->second.empty() || now - it->second.back() >= kWindow) ? failures_.erase(it)
                                                                        : std::next(it);
    }
}

} // namespace velmora::server::core
