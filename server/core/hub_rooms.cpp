// Conference rooms.
#include "core/hub.h"

#include "core/names.h"
#include "protocol/names.h"

namespace velmora::server::core {

namespace p = protocol;

void Hub::toRoom(const Room& room, const std::string& record, Effects& fx) {
    bool first = true;
    for (const auto& member : room.members) {
        if (const auto conn = sessions_.connectionOf(member)) {
            if (first) {
                fx.send(*conn, record);
                first = false;
            } else {
                fx.again(*conn); // relays below do not come between
            }
        } else if (const std::string* node = remoteNodeOf(member)) {
            fx.relay(*node, member, record);
        }
    }
}

void Hub::openRoom(ConnId conn, const Session& me, const p::FieldViews& f, Effects& fx) {
    const std::string name(f[2]);
    if (!isValidName(name, protocol::kMinRoomNameLength, config_.maxNameLength)) {
        log_.line(who(conn) + " invalid room name \"" + name.substr(0, 40) + "\" ignored");
        return;
    }
    auto room = rooms_.roomOf(me.name);
    if (!room || !sameName(room->name, name)) {
        auto joined = rooms_.join(me.name, name, static_cast<std::size_t>(config_.roomLimit));
        if (joined.full) {
            log_.line(who(conn) + " room " + joined.room.name + " full");
            fx.send(conn, p::buildReply(p::reply::CDet, {"ConfFull"}));
            return;
        }
        if (joined.left) {
            toRoom(*joined.left, p::buildReply(p::reply::CE, {me.name}), fx);
        }
        const std::string entered = p::buildReply(p::reply::CO, {me.name});
        for (const auto& member : joined.room.members) {
            if (!sameName(member, me.name)) {
                toUser(member, entered, fx);
            }
        }
        room = std::move(joined.room);
    }
    std::string list;
    for (const auto& member : room->members) {
        list += std::string(p::kNameListSep) + member;
    }
    fx.send(conn, p::buildReply(p::reply::CDet, {list}));
}

std::optional<Room> Hub::roomNamed(const Session& me, std::string_view name) {
    auto room = rooms_.roomOf(me.name);
    return room && sameName(room->name, name) ? room : std::nullopt;
}

void Hub::roomMessage(const Session& me, const p::FieldViews& f, Effects& fx) {
    const auto room = roomNamed(me, f[2]);
    if (!room) {
        log_.line(me.name + " cmdCM to a room they are not in ignored");
        return;
    }
    toRoom(*room, p::buildReply(p::reply::CM, {me.name, f[3], f[4], f[5], f[6]}), fx);
}

void Hub::exitRoom(const Session& me, const p::FieldViews& f, Effects& fx) {
    if (roomNamed(me, f[2])) {
        leaveRoom(me, fx);
    }
}

void Hub::leaveRoom(const Session& me, Effects& fx) {
    if (const auto left = rooms_.leave(me.name)) {
        toRoom(*left, p::buildReply(p::reply::CE, {me.name}), fx);
    }
}

void Hub::invite(const Session& me, const p::FieldViews& f, Effects& fx) {
    const auto room = roomNamed(me, f[2]);
    if (!room) {
        log_.line(me.name + " cmdCI for a room they are not in ignored");
        return;
    }
    const std::string record = p::buildReply(p::reply::CI, {me.name, room->name, f[4]});
    auto names = p::split(f[3], p::kNameListSep);
    std::vector<std::string> invited;
    for (std::size_t i = 1; i < names.size(); ++i) {
        const auto& name = names[i];
        if (holdsName(room->members, name) || holdsName(invited, name)) {
            continue;
        }
        if (toUser(name, record, fx)) {
            invited.push_back(name);
        }
    }
}

} // namespace velmora::server::core
