#include "core/rooms.h"

#include "core/names.h"

#include <algorithm>
#include <optional>

namespace velmora::server::core {

const Room* Rooms::find(std::string_view room) const {
    const auto it = rooms_.find(nameKey(room));
    return it == rooms_.end() ? nullptr : &it->second;
}

const Room* Rooms::roomOf(std::string_view user) const {
    const auto it = roomOf_.find(nameKey(user));
    return it == roomOf_.end() ? nullptr : &rooms_.at(it->second);
}

bool Rooms::isMember(std::string_view user, std::string_view room) const {
    const auto it = roomOf_.find(nameKey(user));
    return it != roomOf_.end() && it->second == nameKey(room);
}

const Room& Rooms::join(const std::string& user, const std::string& room) {
    const std::string key = nameKey(room);
    auto [it, created] = rooms_.try_emplace(key);
    if (created) {
        it->second.name = room;
    }
    it->second.members.push_back(user);
    roomOf_[nameKey(user)] = key;
    return it->second;
}

std::optional<Room> Rooms::leave(std::string_view user) {
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
