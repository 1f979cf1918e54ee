#include "bus/redis_rooms.h"

#include "bus/scripts.h"
#include "core/names.h"

namespace velmora::server::bus {

namespace {
// {room name, members...}; nothing for a nil or empty reply.
std::optional<core::Room> roomFrom(const redisReply* reply) {
    if (!reply || reply->type != REDIS_REPLY_ARRAY || reply->elements == 0) {
        return std::nullopt;
    }
    core::Room room{std::string(text(reply->element[0])), {}};
    for (std::size_t i = 1; i < reply->elements; ++i) {
        room.members.emplace_back(text(reply->element[i]));
    }
    return room;
}
} // namespace

void RedisRooms::refused(const std::string& what, const BusError& e) {
    log_.line(what + " refused: " + e.what());
}

std::optional<core::Room> RedisRooms::roomOf(std::string_view user) {
    try {
        return roomFrom(link_.script(scripts::kRoomOf, {core::nameKey(user)}).get());
    } catch (const BusError& e) {
        refused("looking up the room of " + std::string(user), e);
        return std::nullopt;
    }
}

core::Joined RedisRooms::join(const std::string& user, const std::string& room, std::size_t limit) {
    core::Joined joined;
    try {
        const auto reply =
            link_.script(scripts::kJoin, {core::nameKey(user), user, core::nameKey(room), room,
                                          std::to_string(limit)});
        if (reply->type != REDIS_REPLY_ARRAY || reply->elements != 3) {
            throw BusError("an unexpected answer to a room join");
        }
        joined.full = text(reply->element[0]) == "full";
        joined.room = roomFrom(reply->element[1]).value_or(core::Room{room, {}});
        joined.left = roomFrom(reply->element[2]);
    } catch (const BusError& e) {
        refused(user + " joining room " + room, e);
        joined.full = true; // the one refusal a client knows
        joined.room.name = room;
    }
    return joined;
}

std::optional<core::Room> RedisRooms::leave(const std::string& user) {
    try {
        return roomFrom(link_.script(scripts::kLeave, {core::nameKey(user), user}).get());
    } catch (const BusError& e) {
        refused(user + " leaving a room", e);
        return std::nullopt;
    }
}

} // namespace velmora::server::bus
