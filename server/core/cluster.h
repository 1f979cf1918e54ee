// What the hub asks of the other nodes when it is one of several servers
// sharing one user base. The bus answers for the whole cluster; what the
// other nodes did comes back to the hub as events (Hub::userOnline and the
// like), in the same order on every node.
#pragma once

#include "core/room_book.h"

#include <cstdint>
#include <optional>
#include <string>

namespace velmora::server::core {

class Cluster {
public:
    virtual ~Cluster() = default;

    // This node's name in the cluster.
    [[nodiscard]] virtual const std::string& self() const = 0;
    // Records `name` as logged in here and tells every node, this one
    // included. The claim's place in the cluster's order of claims, or
    // nothing when the bus cannot be reached.
    // `receipts`: the session confirms what it kept, so the other nodes store
    // a private message for it before they pass it on.
    virtual std::optional<std::int64_t> claim(const std::string& name, bool receipts) = 0;
    // Records `name` as logged out here, if this node still holds it; false
    // when the bus cannot be reached.
    virtual bool release(const std::string& name) = 0;
    // The rooms of the whole cluster.
    [[nodiscard]] virtual RoomBook& rooms() = 0;
};

} // namespace velmora::server::core
