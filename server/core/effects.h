// What handling one event asks of the network: records to send and
// connections to close. Records for one connection keep their order.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::server::core {

using ConnId = std::uint64_t;

struct Outgoing {
    ConnId to = 0;
    std::string record;
    // Offline messages carried by this record: deleted once it was written.
    std::vector<std::int64_t> offlineIds;
};

struct Effects {
    std::vector<Outgoing> out;
    std::vector<ConnId> close;

    void send(ConnId to, std::string record) { out.push_back({to, std::move(record), {}}); }
};

// Records stay below this size so that every client reads each one whole.
inline constexpr std::size_t kMaxRecordBytes = 16 * 1024 - 1;

} // namespace velmora::server::core
