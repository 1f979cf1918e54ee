// Who is in which room: the rooms of this server alone (Rooms), or of every
// node of a cluster (kept in Redis by the bus). A user is in at most one room.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::server::core {

struct Room {
    std::string name;                 // as its first member wrote it
    std::vector<std::string> members; // in order of entry
};

struct Joined {
    bool full = false;        // nothing changed: the room has `limit` members
    Room room;                // the room as joined
    std::optional<Room> left; // the room the user was in before, as left
};

class RoomBook {
public:
    virtual ~RoomBook() = default;

    [[nodiscard]] virtual std::optional<Room> roomOf(std::string_view user) = 0;
    // Moves the user into the room (created when absent) unless it already
    // holds `limit` members; leaving the user's earlier room is part of the
    // same step, so a full room leaves the user where they were.
    virtual Joined join(const std::string& user, const std::string& room, std::size_t limit) = 0;
    // Takes the user out of their room; the room as it is left (no members
    // when it was removed), or nothing when not in a room.
    virtual std::optional<Room> leave(const std::string& user) = 0;
};

} // namespace velmora::server::core
