// One blocking connection to Redis through hiredis, with a time limit on
// every wait. A link that fails once stays down until reconnect() is called
// again (by the node's heartbeat), so an unreachable Redis costs the loop at
// most one wait per heartbeat, not one per command.
#pragma once

#include <hiredis/hiredis.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::server::bus {

class BusError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Where Redis listens: redis://HOST[:PORT] or unix:///PATH.
struct BusAddress {
    std::string host;
    int port = 6379;
    std::string socket; // a Unix socket's path instead of host and port
};
// Throws BusError for anything else.
[[nodiscard]] BusAddress parseBusAddress(const std::string& url);

struct ReplyFree {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};
using Reply = std::unique_ptr<redisReply, ReplyFree>;
using Command = std::vector<std::string_view>;

class RedisLink {
public:
    RedisLink(BusAddress address, std::chrono::milliseconds timeout);
    ~RedisLink();
    RedisLink(const RedisLink&) = delete;
    RedisLink& operator=(const RedisLink&) = delete;

    [[nodiscard]] bool up() const { return context_ != nullptr; }
    // Opens the connection anew; throws BusError when Redis cannot be reached.
    void reconnect();
    void close();
    // Sends the commands in one write and reads their replies in order. An
    // error reply comes back as a reply; a lost connection throws BusError
    // and leaves the link down.
    std::vector<Reply> pipeline(const std::vector<Command>& commands);
    // One command; an error reply throws BusError too.
    Reply command(const Command& command);
    // Runs one of the scripts of bus/scripts.h with these arguments (no keys).
    Reply script(std::string_view source, const Command& args);
    [[nodiscard]] int fd() const { return context_ ? context_->fd : -1; }
    [[nodiscard]] redisContext* context() { return context_; }
    [[nodiscard]] std::string describe() const;

private:
    [[noreturn]] void fail(const std::string& what);

    BusAddress address_;
    std::chrono::milliseconds timeout_;
    redisContext* context_ = nullptr;
    // Digests of the scripts loaded on this connection, by their source.
    std::unordered_map<const char*, std::string> loaded_;
};

// A reply's text (bulk or status), "" for anything else.
[[nodiscard]] std::string_view text(const redisReply* reply);

} // namespace velmora::server::bus
