#include "core/clock.h"

#include <ctime>

namespace velmora::server::core {

std::string localTimestamp() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    localtime_r(&now, &parts);
    char text[32];
    const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return std::string(text, size);
}

} // namespace velmora::server::core
