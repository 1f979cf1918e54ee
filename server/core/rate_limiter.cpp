#include "core/rate_limiter.h"

#include <iterator>

namespace velmora::server::core {

namespace {
constexpr auto kWindow = std::chrono::minutes(1);
// Past this many tracked addresses, idle ones are dropped so that a scan
// from many addresses cannot grow the table without bound.
constexpr std::size_t kTrimAbove = 4096;
} // namespace

bool RateLimiter::allow(const std::string& key, Clock::time_point now) {
    if (limit_ <= 0) {
        return true;
    }
    if (attempts_.size() > kTrimAbove) {
        forgetIdle(now);
    }
    auto& times = attempts_[key];
    while (!times.empty() && now - times.front() >= kWindow) {
        times.pop_front();
    }
    if (times.size() >= static_cast<std::size_t>(limit_)) {
        return false;
    }
    times.push_back(now);
    return true;
}

void RateLimiter::forgetIdle(Clock::time_point now) {
    for (auto it = attempts_.begin(); it != attempts_.end();) {
        it = (it->second.empty() || now - it->second.back() >= kWindow) ? attempts_.erase(it)
                                                                        : std::next(it);
    }
}

} // namespace velmora::server::core
