// How many fields each command carries after its code. Framing uses it to
// decide how long to wait for the rest of a command; the hub uses it to drop
// commands that arrive with fields missing.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace velmora::server::core {

[[nodiscard]] std::optional<std::size_t> commandFieldCount(std::string_view code);

} // namespace velmora::server::core
