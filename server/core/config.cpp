#include "core/config.h"

#include <charconv>

namespace velmora::server::core {

namespace {
std::optional<int> number(std::string_view text) {
    int value = 0;
    const auto* end = text.data() + text.size();
    const auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (text.empty() || ec != std::errc() || ptr != end || value < 0) {
        return std::nullopt;
    }
    return value;
}
} // namespace

std::optional<Version> parseVersion(std::string_view text) {
    const auto dot = text.find('.');
    if (dot == std::string_view::npos) {
        return std::nullopt;
    }
    const auto major = number(text.substr(0, dot));
    const auto minor = number(text.substr(dot + 1));
    if (!major || !minor) {
        return std::nullopt;
    }
    return Version{*major, *minor};
}

} // namespace velmora::server::core
