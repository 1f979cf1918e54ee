// This server as one node of a cluster that shares its users through Redis.
// Two connections: one blocking, for the scripts that change shared state
// and for the records relayed to other nodes (one PUBLISH per destination
// node per loop turn, carrying every record of that turn for it), and one
// subscribed to this node's channel and to the channel every node hears,
// read whenever the loop finds it readable. A heartbeat keeps this node's
// key alive, clears away nodes whose key ran out, and after an outage
// reconnects and takes presence from Redis again.
#pragma once

#include "bus/redis_link.h"
#include "bus/redis_rooms.h"
#include "core/cluster.h"
#include "core/hub.h"
#include "net/server.h"

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <map>
#include <memory>
#include <string>

namespace velmora::server::bus {

struct BusOptions {
    std::string address; // empty: a single server, no bus
    std::string node;    // this node's name; empty: HOST:PORT of the listener
    std::chrono::milliseconds heartbeat{1000};
    // A node is taken for dead once its heartbeat is this many beats late.
    int beatsToDeath = 3;
};

class Node final : public core::Cluster, public net::RelaySink {
public:
    Node(asio::io_context& io, const BusOptions& options, core::Log& log);
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    // Joins the cluster as `name`. Redis out of reach is logged and tried
    // again at each heartbeat; meanwhile this node serves its own users.
    void start(core::Hub& hub, net::Server& server, const std::string& name);
    // Leaves at once, so that the others need not wait for the heartbeat to
    // run out. After the server's stop(), which logged every user out.
    void stop();

    [[nodiscard]] const std::string& self() const override { return self_; }
    std::optional<std::int64_t> claim(const std::string& name, bool receipts) override;
    bool release(const std::string& name) override;
    [[nodiscard]] core::RoomBook& rooms() override { return rooms_; }
    void relay(const core::Effects& effects) override;

private:
    void flush();
    void beat();
    // Both connections up; false when Redis cannot be reached.
    bool connect();
    void resync();
    void watch();
    void readEvents();
    void takeEvents();
    void onPayload(std::string_view payload);
    // Hands back what the payload carried for users that no node took.
    void undelivered(std::string_view payload);
    void lost(const BusError& e);

    asio::io_context& io_;
    BusOptions options_;
    core::Log& log_;
    std::string self_, channel_, aliveKey_;
    core::Hub* hub_ = nullptr;
    net::Server* server_ = nullptr;
    RedisLink commands_, events_;
    RedisRooms rooms_;
    asio::steady_timer heartbeat_;
    std::unique_ptr<asio::posix::stream_descriptor> watch_;
    // The records of this turn for each other node, as one payload each.
    std::map<std::string, std::string> outbox_;
    bool flushPosted_ = false;
    bool reachable_ = true; // as last logged
    bool resyncNeeded_ = true;
    bool stopped_ = false;
};

} // namespace velmora::server::bus
