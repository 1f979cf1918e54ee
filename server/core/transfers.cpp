#include "core/transfers.h"

#include "core/hub.h"
#include "protocol/transfer.h"
#include "protocol/wire.h"

namespace velmora::server::core {

Offer* Offers::find(std::string_view token) {
    const auto it = byToken_.find(std::string(token));
    return it == byToken_.end() ? nullptr : &it->second;
}

Offer* Offers::ofData(ConnId conn) {
    const auto it = byData_.find(conn);
    return it == byData_.end() ? nullptr : find(it->second);
}

int Offers::openBy(std::string_view sender) const {
    const auto it = perSender_.find(sender);
    return it == perSender_.end() ? 0 : it->second;
}

Offer& Offers::add(Offer offer) {
    ++perSender_[offer.sender];
    const std::string token = offer.token;
    return byToken_.insert_or_assign(token, std::move(offer)).first->second;
}

void Offers::erase(std::string_view token) {
    const auto it = byToken_.find(std::string(token));
    if (it == byToken_.end()) {
        return;
    }
    byData_.erase(it->second.senderData);
    byData_.erase(it->second.receiverData);
    if (const auto count = perSender_.find(it->second.sender);
        count != perSender_.end() && --count->second <= 0) {
        perSender_.erase(count);
    }
    byToken_.erase(it);
}

void Offers::attach(Offer& offer, ConnId conn, bool sender) {
    (sender ? offer.senderData : offer.receiverData) = conn;
    byData_[conn] = offer.token;
}

void Offers::detach(ConnId conn) {
    if (Offer* offer = ofData(conn)) {
        if (offer->senderData == conn) {
            offer->senderData = 0;
        }
        if (offer->receiverData == conn) {
            offer->receiverData = 0;
        }
    }
    byData_.erase(conn);
}

std::vector<std::string> Offers::tokensOf(std::string_view sender) const {
    std::vector<std::string> tokens;
    if (openBy(sender) == 0) {
        return tokens;
    }
    for (const auto& [token, offer] : byToken_) {
        if (sameName(offer.sender, sender)) {
            tokens.push_back(token);
        }
    }
    return tokens;
}

bool isPlainFileName(std::string_view name) {
    if (name.empty() || name.size() > protocol::transfer::kMaxNameBytes || name == "." ||
        name == "..") {
        return false;
    }
    // The receiver's client writes the file under this name in its own
    // folder: a path, or a byte its file system or our framing reads as
    // something else, would let a sender choose where it lands.
    return name.find_first_of("/\\") == std::string_view::npos && protocol::isSealedField(name) &&
           isCleanText(name);
}

} // namespace velmora::server::core
