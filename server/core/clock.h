#pragma once

#include <string>

namespace velmora::server::core {

// Server local time as "YYYY-MM-DD HH:MM:SS".
[[nodiscard]] std::string localTimestamp();

} // namespace velmora::server::core
