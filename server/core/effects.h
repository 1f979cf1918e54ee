// What handling one event asks of the network: records to send, connections
// to close and password work to run off the network thread. Records for one
// connection keep their order.
#pragma once

#include "core/password.h"
#include "protocol/wire.h"

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::server::core {

// One record of Effects::bytes.
struct Outgoing {
    ConnId to = 0;
    std::size_t at = 0;
    std::size_t size = 0;
    // Offline messages carried by this record: deleted once the peer
    // acknowledged its bytes.
    std::vector<std::int64_t> offlineIds;
    // A page of the mailbox: the hub hears when it was written, and sends
    // the next.
    bool page = false;
};

// A record for a user logged in on another node, carried there by the bus.
struct Relay {
    std::string node;
    std::string user;
    std::size_t at = 0;
    std::size_t size = 0;
    // A private message stored with its number, which is its last field.
    bool numbered = false;
};

// A connection that opened with the hello of a data connection: it leaves
// the command path for the relay, which joins it to the other end of its
// offer, or tells it `refusal` and closes it.
struct DataHello {
    ConnId conn = 0;
    std::string token;
    bool sender = false;
    // The receiver's: where the stream starts.
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::string senderName;
    std::string recipientName;
    std::string refusal; // empty: accepted
};

struct Closing {
    ConnId conn = 0;
    std::string reason;
    // Once the records made for it so far have gone out (a goodbye first).
    bool afterOutput = false;
};

struct Effects {
    // The records, built in place one after another: a caller that reuses
    // one Effects allocates nothing per command once it has grown.
    std::string bytes;
    std::vector<Outgoing> out;
    std::vector<Closing> close;
    std::vector<PasswordJob> passwords;
    // Logins whose waiting messages go out once the connections closed above
    // are gone: a replaced session first settles what its peer acknowledged.
    std::vector<ConnId> mailboxes;
    std::vector<Relay> relays;
    std::vector<DataHello> dataHellos;
    // Offers forgotten: their data connections close.
    std::vector<std::string> endedOffers;

    void send(ConnId to, std::string_view record, std::vector<std::int64_t> offlineIds = {},
              bool page = false) {
        out.push_back({to, bytes.size(), record.size(), std::move(offlineIds), page});
        bytes += record;
    }
    void reply(ConnId to, std::string_view code, std::initializer_list<std::string_view> fields) {
        const std::size_t at = bytes.size();
        protocol::appendReply(bytes, code, fields);
        out.push_back({to, at, bytes.size() - at, {}, false});
    }
    void relay(std::string_view node, std::string_view user, std::string_view record,
               bool numbered = false) {
        relays.push_back(
            {std::string(node), std::string(user), bytes.size(), record.size(), numbered});
        bytes += record;
    }
    void relayReply(std::string_view node, std::string_view user, std::string_view code,
                    std::initializer_list<std::string_view> fields, bool numbered = false) {
        const std::size_t at = bytes.size();
        protocol::appendReply(bytes, code, fields);
        relays.push_back({std::string(node), std::string(user), at, bytes.size() - at, numbered});
    }
    // The record added last, to one more connection: every receiver of a
    // room's line reads the same bytes.
    void again(ConnId to) {
        Outgoing copy{to, out.back().at, out.back().size, {}, false};
        out.push_back(std::move(copy));
    }
    [[nodiscard]] std::string_view record(const Outgoing& o) const {
        return std::string_view(bytes).substr(o.at, o.size);
    }
    [[nodiscard]] std::string_view record(const Relay& r) const {
        return std::string_view(bytes).substr(r.at, r.size);
    }
    void clear() {
        bytes.clear();
        out.clear();
        close.clear();
        passwords.clear();
        mailboxes.clear();
        relays.clear();
        dataHellos.clear();
        endedOffers.clear();
    }
};

// Records stay below this size so that every client reads each one whole.
inline constexpr std::size_t kMaxRecordBytes = 16 * 1024 - 1;

} // namespace velmora::server::core
