#include "core/directory.h"

#include <utility>

namespace velmora::server::core {

std::string Directory::set(const std::string& node, const std::string& name, bool receipts) {
    auto [it, added] = byUser_.try_emplace(name, Entry{node, name, receipts});
    if (added) {
        return {};
    }
    return std::exchange(it->second, Entry{node, name, receipts}).node;
}

bool Directory::erase(const std::string& node, std::string_view name) {
    const auto it = byUser_.find(name);
    if (it == byUser_.end() || it->second.node != node) {
        return false;
    }
    byUser_.erase(it);
    return true;
}

std::vector<std::string> Directory::dropNode(const std::string& node) {
    std::vector<std::string> names;
    for (auto it = byUser_.begin(); it != byUser_.end();) {
        if (it->second.node == node) {
            names.push_back(std::move(it->second.name));
            it = byUser_.erase(it);
        } else {
            ++it;
        }
    }
    return names;
}

std::vector<Directory::Entry> Directory::entries() const {
    std::vector<Entry> out;
    out.reserve(byUser_.size());
    for (const auto& [key, entry] : byUser_) {
        out.push_back(entry);
    }
    return out;
}

} // namespace velmora::server::core
