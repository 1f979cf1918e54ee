#include "core/clock.h"

#include <charconv>
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

std::int64_t unixNow() {
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string utcTimestamp(std::int64_t unixSeconds) {
    const auto time = static_cast<std::time_t>(unixSeconds);
    std::tm parts{};
    gmtime_r(&time, &parts);
    char text[32];
    const std::size_t size = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return std::string(text, size);
}

std::optional<std::chrono::seconds> parseDuration(std::string_view text) {
    if (text == "0") {
        return std::chrono::seconds(0);
    }
    if (text.size() < 2) {
        return std::nullopt;
    }
    std::int64_t count = 0;
    const char* end = text.data() + text.size() - 1;
    const auto [ptr, ec] = std::from_chars(text.data(), end, count);
    if (ec != std::errc() || ptr != end || count <= 0) {
        return std::nullopt;
    }
    std::int64_t unit = 0;
    switch (text.back()) {
    case 's':
        unit = 1;
        break;
    case 'm':
        unit = 60;
        break;
    case 'h':
        unit = 3600;
        break;
    case 'd':
        unit = 86400;
        break;
    case 'w':
        unit = 7 * 86400;
        break;
    default:
        return std::nullopt;
    }
    constexpr std::int64_t kCentury = 100LL * 366 * 86400;
    if (count > kCentury / unit) {
        return std::nullopt;
    }
    return std::chrono::seconds(count * unit);
}

} // namespace velmora::server::core
