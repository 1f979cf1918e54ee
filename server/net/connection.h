// One client connection: a reader that frames commands, a writer that sends
// queued batches, and a quiet timer that completes the last command of a
// burst. A delivery only queues; the writer sends everything queued in one
// write. Every way out goes through stop().
#pragma once

#include "core/effects.h"
#include "core/log.h"
#include "net/framer.h"

#include <asio/awaitable.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace velmora::server::net {

struct ConnectionLimits {
    std::size_t maxRecordBytes = 16000;
    std::size_t maxPendingBytes = 1024 * 1024;
    QuietTimes quiet;
};

class ConnectionOwner {
public:
    virtual void onCommand(core::ConnId id, const protocol::Fields& command) = 0;
    virtual void onWritten(const std::vector<std::int64_t>& offlineIds) = 0;
    virtual void onClosed(core::ConnId id) = 0;

protected:
    ~ConnectionOwner() = default;
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    Connection(asio::ip::tcp::socket socket, core::ConnId id, std::string address,
               const ConnectionLimits& limits, ConnectionOwner& owner, core::Log& log);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start();
    void deliver(std::string bytes, std::vector<std::int64_t> offlineIds);
    void stop(const std::string& reason);

private:
    struct Batch {
        std::string bytes;
        std::vector<std::int64_t> offlineIds;
    };

    asio::awaitable<void> reader();
    asio::awaitable<void> writer();
    asio::awaitable<void> quietWatcher();
    void handle(const protocol::Fields& command);

    asio::ip::tcp::socket socket_;
    core::ConnId id_;
    std::string address_;
    ConnectionLimits limits_;
    ConnectionOwner& owner_;
    core::Log& log_;
    Framer framer_;
    asio::steady_timer wake_;
    asio::steady_timer quiet_;
    std::deque<Batch> queue_;
    std::size_t pendingBytes_ = 0;
    bool open_ = true;
};

} // namespace velmora::server::net
