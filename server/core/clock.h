#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::server::core {

// Server local time as "YYYY-MM-DD HH:MM:SS".
[[nodiscard]] std::string localTimestamp();

// Wall-clock time as Unix seconds: what bans and retired names are kept in,
// so that every node of a cluster reads them alike.
[[nodiscard]] std::int64_t unixNow();

// Unix seconds as "YYYY-MM-DD HH:MM:SS", UTC, as the database writes its own times.
[[nodiscard]] std::string utcTimestamp(std::int64_t unixSeconds);

// A whole number followed by s, m, h, d or w ("30m", "12h", "7d"); "0" is
// none. Nothing for anything else, or for more than a hundred years.
[[nodiscard]] std::optional<std::chrono::seconds> parseDuration(std::string_view text);

} // namespace velmora::server::core
