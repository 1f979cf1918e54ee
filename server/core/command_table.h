// The commands a client sends, known by their code, and how many fields each
// carries after it. Framing uses the count to decide how long to wait for
// the rest of a command; the hub uses it to drop commands that arrive with
// fields missing, and dispatches on the command.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace velmora::server::core {

enum class Command {
    Login,
    SignUp,
    PrivateMessage,
    AddBuddy,
    DeleteBuddy,
    Search,
    OpenRoom,
    RoomMessage,
    ExitRoom,
    Invite,
    // Delivery receipts: the client kept these messages.
    Confirm,
    // File transfer: an offer, its answer, and the hello of a data connection.
    FileOffer,
    FileAnswer,
    FileData,
    // The user's own account: a new password, or the account deleted.
    ChangePassword,
    DeleteAccount
};

struct CommandInfo {
    Command command;
    std::size_t fieldCount;
};

[[nodiscard]] std::optional<CommandInfo> commandInfo(std::string_view code);
[[nodiscard]] inline std::optional<std::size_t> commandFieldCount(std::string_view code) {
    const auto info = commandInfo(code);
    return info ? std::optional<std::size_t>(info->fieldCount) : std::nullopt;
}

} // namespace velmora::server::core
