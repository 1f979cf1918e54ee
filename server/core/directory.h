// Where each user of the cluster is logged in, as the bus last told this
// node. Every node keeps its own copy, so routing a message asks nothing of
// the network; the copy follows the bus's events in the bus's order.
#pragma once

#include "core/names.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::server::core {

class Directory {
public:
    struct Entry {
        std::string node;
        std::string name; // as registered
        // The session there confirms what it kept (delivery receipts).
        bool receipts = false;
    };

    // Where `user` is logged in, or nullptr.
    [[nodiscard]] const Entry* find(std::string_view user) const {
        const auto it = byUser_.find(user);
        return it == byUser_.end() ? nullptr : &it->second;
    }
    // The node `user` is on, or nullptr.
    [[nodiscard]] const std::string* nodeOf(std::string_view user) const {
        const Entry* entry = find(user);
        return entry ? &entry->node : nullptr;
    }
    // Records `name` on `node`; the node it was on before ("" when none).
    std::string set(const std::string& node, const std::string& name, bool receipts = false);
    // Forgets `name` if it is on `node`; false when it was not.
    bool erase(const std::string& node, std::string_view name);
    // Forgets every user of `node`; their names.
    std::vector<std::string> dropNode(const std::string& node);
    // Every user and node, for comparing with a fresh copy.
    [[nodiscard]] std::vector<Entry> entries() const;

private:
    std::unordered_map<std::string, Entry, NameHash, NameEqual> byUser_;
};

} // namespace velmora::server::core
