#include "core/command_table.h"

#include "protocol/wire.h"

#include <array>
#include <utility>

namespace velmora::server::core {

namespace cmd = protocol::cmd;

std::optional<std::size_t> commandFieldCount(std::string_view code) {
    static constexpr std::array<std::pair<std::string_view, std::size_t>, 10> kCounts{{
        {cmd::LI, 3},
        {cmd::RA, 3},
        {cmd::PM, 6},
        {cmd::AB, 2},
        {cmd::DB, 2},
        {cmd::SU, 1},
        {cmd::CO, 2},
        {cmd::CM, 6},
        {cmd::CE, 2},
        {cmd::CI, 4},
    }};
    for (const auto& [name, count] : kCounts) {
        if (name == code) {
            return count;
        }
    }
    return std::nullopt;
}

} // namespace velmora::server::core
