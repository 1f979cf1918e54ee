// The rooms of one server, in memory; rooms exist while they have members.
#pragma once

#include "core/room_book.h"

#include <unordered_map>

namespace velmora::server::core {

class Rooms final : public RoomBook {
public:
    std::optional<Room> roomOf(std::string_view user) override;
    Joined join(const std::string& user, const std::string& room, std::size_t limit) override;
    std::optional<Room> leave(const std::string& user) override;

private:
    std::unordered_map<std::string, Room> rooms_;         // by room key
    std::unordered_map<std::string, std::string> roomOf_; // user key -> room key
};

} // namespace velmora::server::core
