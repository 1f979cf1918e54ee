// Conference rooms: who is in which room. A user is in at most one room;
// rooms exist while they have members.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::server::core {

struct Room {
    std::string name;                 // as its first member wrote it
    std::vector<std::string> members; // in order of entry
};

class Rooms {
public:
    [[nodiscard]] const Room* find(std::string_view room) const;
    [[nodiscard]] const Room* roomOf(std::string_view user) const;
    [[nodiscard]] bool isMember(std::string_view user, std::string_view room) const;

    // Adds the user to the room, creating it when absent. The user must not
    // be in any room.
    const Room& join(const std::string& user, const std::string& room);

    // Takes the user out of their room; returns the room as it is left
    // (empty members when it was removed), or nothing when not in a room.
    std::optional<Room> leave(std::string_view user);

private:
    std::unordered_map<std::string, Room> rooms_;         // by room key
    std::unordered_map<std::string, std::string> roomOf_; // user key -> room key
};

} // namespace velmora::server::core
