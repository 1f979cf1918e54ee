#include "net/descriptor_limit.h"

#include <sys/resource.h>

#include <string>

namespace velmora::server::net {

std::size_t fitDescriptorLimit(std::size_t maxConnections, core::Log& log) {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return maxConnections;
    }
    if (limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        getrlimit(RLIMIT_NOFILE, &limit);
    }
    if (limit.rlim_cur == RLIM_INFINITY ||
        limit.rlim_cur >= maxConnections + kReservedDescriptors) {
        return maxConnections;
    }
    const auto fits = static_cast<std::size_t>(
        limit.rlim_cur > kReservedDescriptors ? limit.rlim_cur - kReservedDescriptors : 0);
    log.line("descriptor limit " + std::to_string(limit.rlim_cur) + " (hard " +
             std::to_string(limit.rlim_max) + ") is below --max-connections " +
             std::to_string(maxConnections) + " plus " + std::to_string(kReservedDescriptors) +
             " for the server itself: at most " + std::to_string(fits) +
             " connections will be accepted; raise LimitNOFILE= in the unit, or ulimit -Hn");
    return fits;
}

} // namespace velmora::server::net
