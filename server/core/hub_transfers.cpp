// File offers and the hellos of data connections. The offer lives on the
// sender's node, for as long as the sender's session; the bytes never pass
// through the hub: an accepted hello hands its connection to the relay.
#include "core/hub.h"

#include "protocol/transfer.h"

namespace velmora::server::core {

namespace p = protocol;
namespace reason = protocol::transfer::reason;

namespace {

std::size_t helloBytes(const p::FieldViews& f) {
    std::size_t bytes = p::kRecordMark.size();
    for (const auto field : f) {
        bytes += field.size();
    }
    return bytes + (f.size() - 1) * p::kCommandFieldSep.size();
}

std::string clipped(std::string_view text) {
    return std::string(text.substr(0, 40));
}

} // namespace

void Hub::offerFile(ConnId conn, const Session& me, const p::FieldViews& f, Effects& fx) {
    const std::string_view recipientField = f[2];
    const std::string_view name = f[3];
    // A token that is not one is not echoed: the answer would carry the
    // sender's bytes to its own client as if the server wrote them.
    const std::string_view token = p::isOfferToken(f[5]) ? f[5] : std::string_view();
    const auto refuse = [&](std::string_view why) {
        log_.line(who(conn) + " file offer to " + clipped(recipientField) +
                  " refused: " + std::string(why));
        fx.reply(conn, p::reply::FA, {p::answer::kFileDeclined, token, why});
    };
    if (config_.fileMaxBytes == 0) {
        refuse(reason::kDisabled);
        return;
    }
    std::uint64_t size = 0;
    if (token.empty() || !isPlainFileName(name) || !p::parseByteCount(f[4], size)) {
        refuse(reason::kInvalid);
        return;
    }
    if (size > config_.fileMaxBytes) {
        refuse(reason::kTooLarge);
        return;
    }
    std::string recipient;
    std::optional<ConnId> local = sessions_.connectionOf(recipientField);
    const Directory::Entry* remote = local ? nullptr : remoteEntryOf(recipientField);
    if (local) {
        recipient = sessions_.of(*local)->name;
    } else if (remote) {
        recipient = remote->name;
    } else {
        const auto user = store_.findUser(std::string(recipientField));
        if (!user) {
            fx.reply(conn, p::reply::UNV, {recipientField});
            return;
        }
        fx.reply(conn, p::reply::FA, {p::answer::kFileUserOffline, token, user->name});
        return;
    }
    if (Offer* held = offers_.find(token)) {
        if (!sameName(held->sender, me.name) || !sameName(held->recipient, recipient)) {
            refuse(reason::kInvalid);
            return;
        }
        // Offered again, after the sender's client came back: what the
        // receiver already has goes on from where it stopped.
        if (held->senderData == 0 && held->receiverData == 0) {
            held->name = std::string(name);
            held->size = size;
        }
    } else if (offers_.openBy(me.name) >= config_.fileTransfers) {
        refuse(reason::kBusy);
        return;
    } else {
        Offer offer;
        offer.token = std::string(token);
        offer.sender = me.name;
        offer.recipient = recipient;
        offer.name = std::string(name);
        offer.size = size;
        offers_.add(std::move(offer));
    }
    log_.line(who(conn) + " offers " + recipient + " a file of " + std::to_string(size) + " bytes");
    const std::string sizeText = std::to_string(size);
    if (local) {
        fx.reply(*local, p::reply::FR, {me.name, name, sizeText, token});
        return;
    }
    const std::string id = p::formatOfferId(
        {std::string(token), transferNode_.host, transferNode_.port, transferNode_.tlsPort});
    fx.relayReply(remote->node, recipient, p::reply::FR, {me.name, name, sizeText, id});
}

void Hub::answerFile(ConnId conn, const Session& me, const p::FieldViews& f, Effects& fx) {
    if (f[4] != p::answer::kFileDeclined) {
        return; // accepting is opening the data connection
    }
    p::OfferId id;
    if (!p::parseOfferId(f[3], id)) {
        violation(conn, "cmdFA with a malformed offer id ignored", fx);
        return;
    }
    if (Offer* offer = offers_.find(id.token)) {
        const bool bySender = sameName(offer->sender, me.name);
        if (!bySender && !sameName(offer->recipient, me.name)) {
            violation(conn, "cmdFA for an offer of others ignored", fx);
            return;
        }
        const std::string_view why = bySender ? reason::kCancelled : reason::kDeclined;
        const std::string other = bySender ? offer->recipient : offer->sender;
        log_.line(who(conn) + " file offer " + offer->sender + " to " + offer->recipient + " " +
                  std::string(why));
        forgetOffer(id.token, fx);
        toUser(other, p::buildReply(p::reply::FA, {p::answer::kFileDeclined, id.token, why}), fx);
        return;
    }
    // Held by the sender's node, when that is another one: it forgets it
    // on hearing this (relayedAnswer).
    if (const std::string* node = remoteNodeOf(f[2])) {
        fx.relayReply(*node, f[2], p::reply::FA,
                      {p::answer::kFileDeclined, id.token, reason::kDeclined});
    }
}

void Hub::relayedAnswer(const std::string& user, std::string_view record, Effects& fx) {
    static const std::string head =
        std::string(p::kRecordMark) + std::string(p::reply::FA) + std::string(p::kReplyFieldSep) +
        std::string(p::answer::kFileDeclined) + std::string(p::kReplyFieldSep);
    if (!record.starts_with(head)) {
        return;
    }
    const std::string_view rest = record.substr(head.size());
    const std::string token(rest.substr(0, rest.find(p::kReplyFieldSep)));
    if (const Offer* offer = offers_.find(token); offer && sameName(offer->sender, user)) {
        log_.line("file offer " + offer->sender + " to " + offer->recipient +
                  " declined on another node");
        forgetOffer(token, fx);
    }
}

void Hub::forgetOffer(const std::string& token, Effects& fx) {
    offers_.erase(token);
    fx.endedOffers.push_back(token);
}

void Hub::endOffersOf(const std::string& sender, Effects& fx) {
    for (const auto& token : offers_.tokensOf(sender)) {
        forgetOffer(token, fx);
    }
}

void Hub::dataHello(ConnId conn, const p::FieldViews& f, bool first, Effects& fx) {
    if (sessions_.of(conn)) {
        violation(conn, "cmdFX on a session ignored", fx);
        return;
    }
    DataHello hello;
    hello.conn = conn;
    const auto refuse = [&](std::string_view why) {
        log_.line(who(conn) + " data connection refused: " + std::string(why));
        hello.refusal = std::string(why);
        fx.dataHellos.push_back(std::move(hello));
    };
    // Nothing but the hello, as the connection's first bytes.
    if (!first || helloBytes(f) > p::transfer::kMaxHelloBytes) {
        refuse(reason::kInvalid);
        return;
    }
    if (config_.fileMaxBytes == 0) {
        refuse(reason::kDisabled);
        return;
    }
    std::uint64_t offset = 0;
    const bool sender = f[2] == p::transfer::kRoleSender;
    if (!p::isOfferToken(f[1]) || (!sender && f[2] != p::transfer::kRoleReceiver) ||
        !p::parseByteCount(f[3], offset)) {
        refuse(reason::kInvalid);
        return;
    }
    Offer* offer = offers_.find(f[1]);
    if (!offer) {
        refuse(reason::kUnknown);
        return;
    }
    if (!sender && offset > offer->size) {
        refuse(reason::kInvalid);
        return;
    }
    if ((sender ? offer->senderData : offer->receiverData) != 0) {
        refuse(reason::kBusy); // that end is there already
        return;
    }
    offers_.attach(*offer, conn, sender);
    hello.token = offer->token;
    hello.sender = sender;
    hello.offset = sender ? 0 : offset;
    hello.size = offer->size;
    hello.senderName = offer->sender;
    hello.recipientName = offer->recipient;
    if (!sender) {
        if (const auto session = sessions_.connectionOf(offer->sender)) {
            fx.reply(*session, p::reply::FA,
                     {p::answer::kFileSent, offer->token, std::to_string(offset)});
        }
    }
    fx.dataHellos.push_back(std::move(hello));
}

void Hub::dataEnded(ConnId conn, bool done) {
    const Offer* offer = offers_.ofData(conn);
    if (!offer) {
        return;
    }
    if (done) {
        offers_.erase(std::string(offer->token));
    } else {
        offers_.detach(conn);
    }
}

} // namespace velmora::server::core
