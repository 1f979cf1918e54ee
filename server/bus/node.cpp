#include "bus/node.h"

#include "bus/items.h"
#include "bus/scripts.h"
#include "core/names.h"

#include <asio/post.hpp>

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <unordered_set>

namespace velmora::server::bus {

namespace {
constexpr std::string_view kEveryNode = "velmora:all";
// A session's flags as the scripts keep them: "r" for delivery receipts.
constexpr std::string_view kReceiptsFlag = "r";
constexpr std::string_view kNodes = "velmora:nodes";
// A wait on Redis longer than this counts as Redis out of reach.
constexpr auto kWaitLimit = std::chrono::milliseconds(500);

std::string channelOf(std::string_view node) {
    return "velmora:node:" + std::string(node);
}

std::vector<std::string> names(const redisReply* reply) {
    std::vector<std::string> out;
    for (std::size_t i = 0; reply && reply->type == REDIS_REPLY_ARRAY && i < reply->elements; ++i) {
        out.emplace_back(text(reply->element[i]));
    }
    return out;
}
} // namespace

Node::Node(asio::io_context& io, const BusOptions& options, core::Log& log)
    : io_(io), options_(options), log_(log),
      commands_(parseBusAddress(options.address), kWaitLimit),
      events_(parseBusAddress(options.address), kWaitLimit), rooms_(commands_, log),
      heartbeat_(io) {}

void Node::start(core::Hub& hub, net::Server& server, const std::string& name) {
    hub_ = &hub;
    server_ = &server;
    self_ = name;
    channel_ = channelOf(name);
    aliveKey_ = "velmora:alive:" + name;
    server.setRelay(this);
    log_.line("node " + self_ + " on the bus at " + commands_.describe());
    beat();
}

void Node::stop() {
    stopped_ = true;
    heartbeat_.cancel();
    watch_.reset();
    flush();
    try {
        if (commands_.up()) {
            commands_.pipeline({{"SREM", kNodes, self_}, {"DEL", aliveKey_}});
        }
    } catch (const BusError&) { // the others find out by the heartbeat instead
    }
    commands_.close();
    events_.close();
}

void Node::lost(const BusError& e) {
    if (reachable_) {
        log_.line(std::string("bus out of reach, serving this node's users alone: ") + e.what());
        reachable_ = false;
    }
    // One connection failing is usually Redis gone for both (a restart): both
    // are opened again together, and the presence taken anew.
    resyncNeeded_ = true;
    watch_.reset();
    commands_.close();
    events_.close();
}

bool Node::connect() {
    try {
        if (!commands_.up()) {
            commands_.reconnect();
        }
        if (!events_.up()) {
            events_.reconnect();
            events_.command({"SUBSCRIBE", kEveryNode, channel_});
            resyncNeeded_ = true;
            watch();
            takeEvents(); // what came with the answer is already read
        }
    } catch (const BusError& e) {
        lost(e);
        return false;
    }
    return true;
}

void Node::beat() {
    if (stopped_) {
        return;
    }
    if (connect()) {
        try {
            if (resyncNeeded_) {
                resync();
            }
            if (!reachable_) {
                log_.line("bus reachable again at " + commands_.describe() +
                          ", presence taken anew");
                reachable_ = true;
            }
            const auto ttl = std::to_string(options_.heartbeat.count() * options_.beatsToDeath);
            commands_.pipeline({{"SET", aliveKey_, "1", "PX", ttl}, {"SADD", kNodes, self_}});
            const auto gone = names(commands_.script(scripts::kReap, {}).get());
            if (!gone.empty()) {
                server_->enact("cleaning up after a stopped node",
                               [&] { return hub_->leftWithNode(gone); });
            }
        } catch (const BusError& e) {
            lost(e);
        }
    }
    heartbeat_.expires_after(options_.heartbeat);
    heartbeat_.async_wait([this](const asio::error_code& ec) {
        if (!ec) {
            beat();
        }
    });
}

void Node::resync() {
    const auto users = hub_->localUsers();
    std::vector<std::string> keys;
    keys.reserve(users.size());
    Command args{self_};
    for (const auto& user : users) {
        keys.push_back(core::nameKey(user.name));
        args.push_back(keys.back());
        args.push_back(user.name);
        args.push_back(user.receipts ? kReceiptsFlag : std::string_view());
    }
    const auto taken = names(commands_.script(scripts::kResync, args).get());
    if (!taken.empty()) {
        server_->enact("ending sessions taken over elsewhere",
                       [&] { return hub_->replacedElsewhere(taken); });
    }
    const auto all = commands_.command({"HGETALL", "velmora:online"});
    const auto flagged = commands_.command({"HGETALL", "velmora:flags"});
    std::unordered_set<std::string> receipts;
    for (std::size_t i = 0; i + 1 < flagged->elements; i += 2) {
        if (text(flagged->element[i + 1]) == kReceiptsFlag) {
            receipts.insert(std::string(text(flagged->element[i])));
        }
    }
    std::vector<core::Directory::Entry> entries;
    for (std::size_t i = 1; i < all->elements; i += 2) {
        const auto [node, name] = firstWord(text(all->element[i]));
        entries.push_back({std::string(node), std::string(name),
                           receipts.contains(std::string(text(all->element[i - 1])))});
    }
    server_->enact("taking presence from the bus", [&] { return hub_->resynced(entries); });
    resyncNeeded_ = false;
}

std::optional<std::int64_t> Node::claim(const std::string& name, bool receipts) {
    try {
        return commands_
            .script(scripts::kClaim,
                    {core::nameKey(name), self_, name, receipts ? kReceiptsFlag : ""})
            ->integer;
    } catch (const BusError& e) {
        lost(e);
        return std::nullopt;
    }
}

bool Node::release(const std::string& name) {
    try {
        commands_.script(scripts::kRelease, {core::nameKey(name), self_, name});
        return true;
    } catch (const BusError& e) {
        lost(e);
        return false;
    }
}

void Node::relay(const core::Effects& effects) {
    for (const auto& r : effects.relays) {
        appendItem(outbox_[r.node], r.numbered ? kDeliverNumbered : kDeliver, r.user,
                   effects.record(r));
    }
    if (!std::exchange(flushPosted_, true)) {
        // After this turn's other handlers: one PUBLISH per node for all of them.
        asio::post(io_, [this] { flush(); });
    }
}

void Node::flush() {
    flushPosted_ = false;
    if (outbox_.empty()) {
        return;
    }
    const auto outbox = std::exchange(outbox_, {});
    std::vector<std::string> channels;
    std::vector<Command> publishes;
    for (const auto& [node, payload] : outbox) {
        channels.push_back(channelOf(node));
    }
    for (const auto& [node, payload] : outbox) {
        publishes.push_back({"PUBLISH", channels[publishes.size()], payload});
    }
    std::vector<Reply> replies;
    try {
        replies = commands_.pipeline(publishes);
    } catch (const BusError& e) {
        lost(e);
    }
    std::size_t i = 0;
    for (const auto& [node, payload] : outbox) {
        const redisReply* reply = i < replies.size() ? replies[i].get() : nullptr;
        ++i;
        // Nobody listens on a node's channel once that node is gone.
        if (!reply || reply->type != REDIS_REPLY_INTEGER || reply->integer == 0) {
            undelivered(payload);
        }
    }
}

void Node::undelivered(std::string_view payload) {
    forEachItem(payload, [&](char kind, std::string_view body) {
        if (kind == kDeliver || kind == kDeliverNumbered) {
            const auto [user, record] = firstWord(body);
            server_->enact("keeping a record no node took", [&] {
                return hub_->undelivered(std::string(user), record, kind == kDeliverNumbered);
            });
        }
    });
}

void Node::watch() {
    if (!watch_) {
        // A second descriptor for the same socket: asio closes its own, hiredis its.
        watch_ = std::make_unique<asio::posix::stream_descriptor>(io_, ::dup(events_.fd()));
    }
    watch_->async_wait(asio::posix::stream_descriptor::wait_read,
                       [this](const asio::error_code& ec) {
                           if (!ec && watch_) {
                               readEvents();
                           }
                       });
}

void Node::readEvents() {
    std::array<char, 65536> chunk{};
    for (;;) {
        const ssize_t n = ::recv(events_.fd(), chunk.data(), chunk.size(), MSG_DONTWAIT);
        if (n > 0) {
            redisReaderFeed(events_.context()->reader, chunk.data(), static_cast<std::size_t>(n));
            takeEvents();
            if (!events_.up()) {
                return;
            }
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
            break;
        }
        events_.close();
        lost(BusError("Redis closed the subscription"));
        return;
    }
    watch();
}

void Node::takeEvents() {
    void* raw = nullptr;
    while (events_.up() && redisReaderGetReply(events_.context()->reader, &raw) == REDIS_OK &&
           raw) {
        const Reply reply(static_cast<redisReply*>(raw));
        raw = nullptr;
        // {"message", channel, payload}; the answers to SUBSCRIBE are not.
        if (reply->type == REDIS_REPLY_ARRAY && reply->elements == 3 &&
            text(reply->element[0]) == "message") {
            onPayload(text(reply->element[2]));
        }
    }
    if (events_.up() && events_.context()->reader->err) {
        events_.close();
        lost(BusError("unreadable data on the subscription"));
    }
}

void Node::onPayload(std::string_view payload) {
    const bool whole = forEachItem(payload, [&](char kind, std::string_view body) {
        const auto [first, rest] = firstWord(body);
        const std::string word(first);
        switch (kind) {
        case kDeliver:
        case kDeliverNumbered:
            server_->enact("a relayed record",
                           [&] { return hub_->relayed(word, rest, kind == kDeliverNumbered); });
            break;
        case kOnline: {
            const auto [node, nameAndFlags] = firstWord(rest);
            const auto [name, flags] = firstWord(nameAndFlags);
            const std::int64_t claim = std::atoll(word.c_str());
            server_->enact("a login elsewhere", [&] {
                return hub_->userOnline(std::string(node), std::string(name), claim,
                                        flags == kReceiptsFlag);
            });
            break;
        }
        case kOffline:
            server_->enact("a logout elsewhere",
                           [&] { return hub_->userOffline(word, std::string(rest)); });
            break;
        case kGone:
            server_->enact("a stopped node", [&] { return hub_->nodeGone(word); });
            break;
        default:
            break;
        }
    });
    if (!whole) {
        log_.line("a malformed message on the bus ignored from its fault on");
    }
}

} // namespace velmora::server::bus
