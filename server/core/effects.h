// What handling one event asks of the network: records to send, connections
// to close and password work to run off the network thread. Records for one
// connection keep their order.
#pragma once

#include "core/password.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::server::core {

struct Outgoing {
    ConnId to = 0;
    std::string record;
    // Offline messages carried by this record: deleted once the peer
    // acknowledged its bytes.
    std::vector<std::int64_t> offlineIds;
};

struct Closing {
    ConnId conn = 0;
    std::string reason;
};

struct Effects {
    std::vector<Outgoing> out;
    std::vector<Closing> close;
    std::vector<PasswordJob> passwords;
    // Logins whose waiting messages go out once the connections closed above
    // are gone: a replaced session first settles what its peer acknowledged.
    std::vector<ConnId> mailboxes;

    void send(ConnId to, std::string record) { out.push_back({to, std::move(record), {}}); }
};

// Records stay below this size so that every client reads each one whole.
inline constexpr std::size_t kMaxRecordBytes = 16 * 1024 - 1;

} // namespace velmora::server::core
