#include "core/rooms.h"

#include "core/names.h"

#include <algorithm>

namespace velmora::server::core {

std::optional<Room> Rooms::roomOf(std::string_view user) {
    const auto it = roomOf_.find(nameKey(user));
    if (it == roomOf_.end()) {
        return std::nullopt;
    }
    return rooms_.at(it->second);
}

Joined Rooms::join(const std::string& user, const std::string& room, std::size_t limit) {
    const std::string key = nameKey(room);
    if (const auto it = rooms_.find(key);
        it != rooms_.end() && it->second.members.size() >= limit) {
        return {true, it->second, std::nullopt};
    }
    Joined joined;
    joined.left = leave(user);
    auto [it, created] = rooms_.try_emplace(key);
    if (created) {
        it->second.name = room;
    }
    it->second.members.push_back(user);
    roomOf_[nameKey(user)] = key;
    joined.room = it->second;
    return joined;
}

std::optional<Room> Rooms::leave(const std::string& user) {
    const auto mine = roomOf_.find(nameKey(user));
    if (mine == roomOf_.end()) {
        return std::nullopt;
    }
    const auto it = rooms_.find(mine->second);
    roomOf_.erase(mine);
    auto& members = it->second.members;
    members.erase(std::remove_if(members.begin(), members.end(),
                                 [&](const std::string& m) { return sameName(m, user); }),
                  members.end());
    Room left = it->second;
    if (members.empty()) {
        rooms_.erase(it);
    }
    return left;
}

} // namespace velmora::server::core
