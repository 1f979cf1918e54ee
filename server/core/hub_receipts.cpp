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
    if (!p::parseNumberList(f[2], ids, p::kMaxListNumbers)) {
        violation(conn, "cmdRC with a list that is not numbers refused", fx);
        return;
    }
    store_.removeOfflineOf(me.id, ids);
}

std::optional<std::pair<std::string_view, std::int64_t>> Hub::numberOf(std::string_view record) {
    // " ## +PM /$/ sender /$/ text /$/ font /$/ size /$/ style /$/ number"
    const std::string_view sep = p::kReplyFieldSep;
    const std::size_t head = p::kRecordMark.size() + p::reply::PM.size();
    if (!record.starts_with(p::kRecordMark) ||
        record.substr(p::kRecordMark.size(), p::reply::PM.size()) != p::reply::PM ||
        p::findSeparator(record, sep, head) != head) {
        return std::nullopt;
    }
    std::size_t fields = 0;
    std::size_t last = std::string_view::npos;
    for (std::size_t at = p::findSeparator(record, sep, head); at != std::string_view::npos;
         at = p::findSeparator(record, sep, at + sep.size())) {
        ++fields;
        last = at;
    }
    std::vector<p::MessageNumber> number;
    if (fields != 6 || !p::parseNumberList(record.substr(last + sep.size()), number, 1)) {
        return std::nullopt;
    }
    return std::make_pair(record.substr(0, last), number.front());
}

void Hub::deliverRelayed(const Recipient& to, std::string_view record, bool numbered, Effects& fx) {
    if (!numbered && !to.receipts) {
        fx.send(to.conn, record); // the busy path
        return;
    }
    const auto number = numbered ? numberOf(record) : std::nullopt;
    if (to.receipts) {
        if (number) {
            if (!offlineCursor_.contains(to.conn)) {
                fx.send(to.conn, record);
            } // else a later page of the mailbox brings it
            return;
        }
        // The sender's node took this session for one without receipts: it
        // is numbered here, so it is not lost either.
        const auto f = p::split(record, p::kReplyFieldSep);
        if (f.size() == 6 && f[0] == std::string(p::kRecordMark) + std::string(p::reply::PM)) {
            keepAndSend(0, to.conn, {f[1], f[2], f[3], f[4], f[5]}, fx);
            return;
        }
        fx.send(to.conn, record);
        return;
    }
    if (!number) {
        fx.send(to.conn, record);
        return;
    }
    // A session without receipts takes the plain record, and a message sent
    // live is delivered, as ever.
    fx.send(to.conn, number->first);
    if (const Session* me = sessions_.of(to.conn)) {
        store_.removeOfflineOf(me->id, {number->second});
    }
}

} // namespace velmora::server::core
