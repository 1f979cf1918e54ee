// Delivery receipts: a session that asked for them gets every private
// message stored first and numbered with its place in the store, and the
// message is forgotten only when the client confirms that it kept it. What
// is not confirmed when the connection ends simply stays stored, and the
// next login pages it out again with the same number.
#include "core/hub.h"

#include "core/clock.h"
#include "protocol/receipts.h"

namespace velmora::server::core {

namespace p = protocol;

namespace {
// The most numbers one confirmation may name.
constexpr std::size_t kMaxConfirmed = 4096;
} // namespace

void Hub::keepAndSend(ConnId sender, ConnId to, std::initializer_list<std::string_view> fields,
                      Effects& fx) {
    const Session* recipient = sessions_.of(to);
    if (!recipient) {
        return;
    }
    const store::User user{recipient->id, recipient->name, {}};
    if (sender != 0 && !mailboxHasRoom(sender, user, fx)) {
        return;
    }
    const auto f = fields.begin();
    const auto id =
        store_.addOffline(user.id, std::string(f[0]), std::string(f[1]), localTimestamp());
    if (offlineCursor_.contains(to)) {
        return; // the mailbox is still being paged out: a later page brings it, in order
    }
    fx.reply(to, p::reply::PM, {f[0], f[1], f[2], f[3], f[4], std::to_string(id)});
}

void Hub::confirm(const Session& me, const p::FieldViews& f, ConnId conn, Effects& fx) {
    std::vector<p::MessageNumber> ids;
    if (!p::parseNumberList(f[2], ids, kMaxConfirmed)) {
        violation(conn, "cmdRC with a list that is not numbers refused", fx);
        return;
    }
    store_.removeOfflineOf(me.id, ids);
}

std::optional<std::pair<std::string_view, std::int64_t>> Hub::numbered(std::string_view record) {
    // " ## +PM /$/ sender /$/ text /$/ font /$/ size /$/ style /$/ number"
    const std::string head = std::string(p::kRecordMark) + std::string(p::reply::PM);
    if (!record.starts_with(head + std::string(p::kReplyFieldSep))) {
        return std::nullopt;
    }
    const auto f = p::split(record, p::kReplyFieldSep);
    std::vector<p::MessageNumber> number;
    if (f.size() != 7 || !p::parseNumberList(f[6], number, 1)) {
        return std::nullopt;
    }
    const std::size_t cut = record.size() - f[6].size() - p::kReplyFieldSep.size();
    return std::make_pair(record.substr(0, cut), number.front());
}

void Hub::deliverRelayed(ConnId conn, std::string_view record, Effects& fx) {
    const Session* me = sessions_.of(conn);
    const auto number = numbered(record);
    if (me && me->receipts) {
        if (number) {
            if (!offlineCursor_.contains(conn)) {
                fx.send(conn, record);
            } // else a later page of the mailbox brings it
            return;
        }
        // The sender's node took this session for one without receipts: it
        // is numbered here, so it is not lost either.
        const auto f = p::split(record, p::kReplyFieldSep);
        if (f.size() == 6 &&
            record.starts_with(std::string(p::kRecordMark) + std::string(p::reply::PM) +
                               std::string(p::kReplyFieldSep))) {
            keepAndSend(0, conn, {f[1], f[2], f[3], f[4], f[5]}, fx);
            return;
        }
        fx.send(conn, record);
        return;
    }
    if (number && me) {
        // A session without receipts takes the plain record, and a message
        // sent live is delivered, as ever.
        fx.send(conn, number->first);
        store_.removeOfflineOf(me->id, {number->second});
        return;
    }
    fx.send(conn, record);
}

} // namespace velmora::server::core
