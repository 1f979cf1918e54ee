// The file offers this node holds: one per token, on the sender's node.
// Plain bookkeeping; the hub decides what each event means, and the
// network layer's relay does the copying.
#pragma once

#include "core/effects.h"
#include "core/names.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::server::core {

struct Offer {
    std::string token;
    std::string sender;    // as registered
    std::string recipient; // as registered
    std::string name;
    std::uint64_t size = 0;
    // The data connections of each end, 0 while that end is not there.
    ConnId senderData = 0;
    ConnId receiverData = 0;
};

class Offers {
public:
    [[nodiscard]] Offer* find(std::string_view token);
    [[nodiscard]] Offer* ofData(ConnId conn);
    [[nodiscard]] int openBy(std::string_view sender) const;
    Offer& add(Offer offer);
    // Forgets the offer; the data connections it had, for the relay to close.
    void erase(std::string_view token);
    void attach(Offer& offer, ConnId conn, bool sender);
    // The end on `conn` is gone; the offer stays.
    void detach(ConnId conn);
    // The tokens of every offer `sender` holds.
    [[nodiscard]] std::vector<std::string> tokensOf(std::string_view sender) const;

private:
    std::unordered_map<std::string, Offer> byToken_;
    std::unordered_map<ConnId, std::string> byData_;
    std::unordered_map<std::string, int, NameHash, NameEqual> perSender_;
};

// A file name a receiver can create as it is: one plain name, no path.
[[nodiscard]] bool isPlainFileName(std::string_view name);

} // namespace velmora::server::core
