// Conference rooms.
#include "core/hub.h"

#include "core/names.h"
#include "protocol/names.h"

#include <algorithm>

namespace velmora::server::core {

namespace p = protocol;

namespace {} // namespace

void Hub::toRoom(const Room& room, const std::string& record, Effects& fx) {
    bool first = true;
    for (const auto& member : room.members) {
        if (const auto conn = sessions_.connectionOf(member)) {
            if (first) {
                fx.send(*conn, record);
                first = false;
            } else {
                fx.again(*conn);
            }
        }
    }
}

void Hub::openRoom(ConnId conn, const Session& me, const p::FieldViews& f, Effects& fx) {
    const std::string name(f[2]);
    if (!isValidName(name, protocol::kMinRoomNameLength, config_.maxNameLength)) {
        log_.line(who(conn) + " invalid room name \"" + name.substr(0, 40) + "\" ignored");
        return;
    }
    const Room* room = rooms_.find(name);
    const bool already = rooms_.isMember(me.name, name);
    if (!already && room && room->members.size() >= static_cast<std::size_t>(config_.roomLimit)) {
        log_.line(who(conn) + " room " + room->name + " full");
        fx.send(conn, p::buildReply(p::reply::CDet, {"ConfFull"}));
        return;
    }
    if (!already) {
        leaveRoom(me, fx);
        const Room& joined = rooms_.join(me.name, name);
        const std::string entered = p::buildReply(p::reply::CO, {me.name});
        for (const auto& member : joined.members) {
            if (member == me.name) {
                continue;
            }
            if (const auto other = sessions_.connectionOf(member)) {
                fx.send(*other, entered);
            }
        }
        room = &joined;
    }
    std::string list;
    for (const auto& member : room->members) {
        list += std::string(p::kNameListSep) + member;
    }
    fx.send(conn, p::buildReply(p::reply::CDet, {list}));
}

void Hub::roomMessage(const Session& me, const p::FieldViews& f, Effects& fx) {
    if (!rooms_.isMember(me.name, f[2])) {
        log_.line(me.name + " cmdCM to a room they are not in ignored");
        return;
    }
    toRoom(*rooms_.roomOf(me.name), p::buildReply(p::reply::CM, {me.name, f[3], f[4], f[5], f[6]}),
           fx);
}

void Hub::exitRoom(const Session& me, const p::FieldViews& f, Effects& fx) {
    if (rooms_.isMember(me.name, f[2])) {
        leaveRoom(me, fx);
    }
}

void Hub::leaveRoom(const Session& me, Effects& fx) {
    if (const auto left = rooms_.leave(me.name)) {
        toRoom(*left, p::buildReply(p::reply::CE, {me.name}), fx);
    }
}

void Hub::invite(const Session& me, const p::FieldViews& f, Effects& fx) {
    if (!rooms_.isMember(me.name, f[2])) {
        log_.line(me.name + " cmdCI for a room they are not in ignored");
        return;
    }
    const Room& room = *rooms_.roomOf(me.name);
    const std::string record = p::buildReply(p::reply::CI, {me.name, room.name, f[4]});
    auto names = p::split(f[3], p::kNameListSep);
    std::vector<ConnId> invited;
    for (std::size_t i = 1; i < names.size(); ++i) {
        const auto conn = sessions_.connectionOf(names[i]);
        if (!conn || rooms_.isMember(names[i], room.name) ||
            std::find(invited.begin(), invited.end(), *conn) != invited.end()) {
            continue;
        }
        invited.push_back(*conn);
        fx.send(*conn, record);
    }
}

} // namespace velmora::server::core
