// The rooms of the whole cluster, kept in Redis and changed by scripts, so
// that membership and the member limit hold across nodes. Every call is one
// round trip; while Redis is out of reach rooms are refused (and logged).
#pragma once

#include "bus/redis_link.h"
#include "core/log.h"
#include "core/room_book.h"

namespace velmora::server::bus {

class RedisRooms final : public core::RoomBook {
public:
    RedisRooms(RedisLink& link, core::Log& log) : link_(link), log_(log) {}

    std::optional<core::Room> roomOf(std::string_view user) override;
    core::Joined join(const std::string& user, const std::string& room, std::size_t limit) override;
    std::optional<core::Room> leave(const std::string& user) override;

private:
    void refused(const std::string& what, const BusError& e);

    RedisLink& link_;
    core::Log& log_;
};

} // namespace velmora::server::bus
