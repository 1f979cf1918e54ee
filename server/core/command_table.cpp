#include "core/command_table.h"

#include "protocol/account.h"
#include "protocol/receipts.h"
#include "protocol/transfer.h"
#include "protocol/wire.h"

namespace velmora::server::core {

namespace cmd = protocol::cmd;

namespace {
// Every code is "cmd" and two letters: the two letters tell them apart, so a
// command is known with one switch instead of a string comparison per code.
constexpr int key(std::string_view code) {
    return code[3] << 8 | code[4];
}
constexpr std::string_view kPrefix = cmd::LI.substr(0, 3);
} // namespace

std::optional<CommandInfo> commandInfo(std::string_view code) {
    if (code.size() != cmd::LI.size() || code[0] != kPrefix[0] || code[1] != kPrefix[1] ||
        code[2] != kPrefix[2]) {
        return std::nullopt;
    }
    switch (key(code)) {
    case key(cmd::LI):
        return CommandInfo{Command::Login, 3};
    case key(cmd::RA):
        return CommandInfo{Command::SignUp, 3};
    case key(cmd::PM):
        return CommandInfo{Command::PrivateMessage, 6};
    case key(cmd::AB):
        return CommandInfo{Command::AddBuddy, 2};
    case key(cmd::DB):
        return CommandInfo{Command::DeleteBuddy, 2};
    case key(cmd::SU):
        return CommandInfo{Command::Search, 1};
    case key(cmd::CO):
        return CommandInfo{Command::OpenRoom, 2};
    case key(cmd::CM):
        return CommandInfo{Command::RoomMessage, 6};
    case key(cmd::CE):
        return CommandInfo{Command::ExitRoom, 2};
    case key(cmd::CI):
        return CommandInfo{Command::Invite, 4};
    case key(cmd::RC):
        return CommandInfo{Command::Confirm, 2};
    case key(cmd::FR):
        return CommandInfo{Command::FileOffer, 5};
    case key(cmd::FA):
        return CommandInfo{Command::FileAnswer, 4};
    case key(cmd::FX):
        return CommandInfo{Command::FileData, 3};
    case key(cmd::CP):
        return CommandInfo{Command::ChangePassword, 3};
    case key(cmd::DA):
        return CommandInfo{Command::DeleteAccount, 2};
    default:
        return std::nullopt;
    }
}

} // namespace velmora::server::core
