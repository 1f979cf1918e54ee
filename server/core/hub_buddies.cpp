// Buddy lists and the user search.
#include "core/hub.h"

#include "core/names.h"

namespace velmora::server::core {

namespace p = protocol;

namespace {
constexpr std::size_t kMaxBuddies = 75;
constexpr int kMaxSearchResults = 100;
} // namespace

std::string Hub::buddyListRecord(const Session& me) {
    p::Fields items;
    for (const auto& name : store_.buddies(me.id)) {
        items.push_back(std::string(isOnline(name) ? "n" : "f") + std::string(p::kSubFieldSep) +
                        name);
    }
    return p::buildReply(p::reply::BL, {p::join(items, p::kListItemSep)});
}

void Hub::addBuddy(ConnId conn, const Session& me, const p::FieldViews& f, Effects& fx) {
    const auto buddy = store_.findUser(std::string(f[2]));
    if (!buddy) {
        fx.send(conn, p::buildReply(p::reply::UNV, {f[2]}));
        return;
    }
    const auto current = store_.buddies(me.id);
    const bool listed = holdsName(current, buddy->name);
    if (!listed && current.size() >= kMaxBuddies) {
        log_.line(who(conn) + " buddy list full, " + buddy->name + " not added");
    } else if (!listed) {
        store_.addBuddy(me.id, buddy->id);
    }
    fx.send(conn, buddyListRecord(me));
}

void Hub::deleteBuddy(ConnId conn, const Session& me, const p::FieldViews& f, Effects& fx) {
    if (const auto buddy = store_.findUser(std::string(f[2]))) {
        store_.removeBuddy(me.id, buddy->id);
    }
    fx.send(conn, buddyListRecord(me));
}

void Hub::search(ConnId conn, const p::FieldViews& f, Effects& fx) {
    const auto names = store_.searchUsers(std::string(f[1]), kMaxSearchResults);
    fx.send(conn, p::buildReply(p::reply::SU, {p::join(names, "%")}));
}

} // namespace velmora::server::core
