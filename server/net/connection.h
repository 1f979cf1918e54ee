// One client connection: a reader that frames commands and a writer that
// sends queued batches. A delivery only queues; the writer sends everything
// queued in one gathered write. The last command of a burst is completed by
// the owner's one quiet timer for all connections (quietDeadline()). Every
// way out goes through stop().
#pragma once

#include "core/effects.h"
#include "core/log.h"
#include "net/framer.h"

#include <asio/awaitable.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace velmora::server::net {

struct ConnectionLimits {
    std::size_t maxRecordBytes = 16000;
    std::size_t maxPendingBytes = 1024 * 1024;
    QuietTimes quiet;
    // The command budget: a burst of this many, refilled at this rate. Past
    // it the connection is simply not read until tokens come back.
    double commandsPerSecond = 20;
    double commandBurst = 100;
};

class Connection;

class ConnectionOwner {
public:
    virtual void onCommand(core::ConnId id, const protocol::Fields& command) = 0;
    // A batch carrying offline messages was handed to the kernel.
    virtual void onOfflineWritten(core::ConnId id) = 0;
    // The peer acknowledged the bytes of these offline messages.
    virtual void onAcknowledged(const std::vector<std::int64_t>& offlineIds) = 0;
    virtual void onClosed(core::ConnId id) = 0;
    // The connection has a pending command to take at its quiet deadline.
    virtual void onQuietPending(Connection& connection) = 0;

protected:
    ~ConnectionOwner() = default;
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    // `scratch` is the loop's read buffer: a connection reads into it only
    // once the socket is readable, and frames the bytes before it yields.
    Connection(asio::ip::tcp::socket socket, core::ConnId id, std::string address,
               const ConnectionLimits& limits, ConnectionOwner& owner, core::Log& log,
               std::span<char> scratch);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    void start();
    void deliver(std::string bytes, std::vector<std::int64_t> offlineIds);
    void stop(const std::string& reason);
    // Stops reading, sends what is queued, then closes.
    void finish();

    using Clock = asio::steady_timer::clock_type;
    [[nodiscard]] core::ConnId id() const { return id_; }
    // When the pending command is to be taken; time_point::max() when none.
    [[nodiscard]] Clock::time_point quietDeadline() const { return quietDeadline_; }
    // Takes the pending command if its deadline has passed; the new deadline.
    Clock::time_point quietTick(Clock::time_point now);

private:
    // Offline messages whose record ends at this offset of the output stream.
    struct OfflineMark {
        std::uint64_t end = 0;
        std::vector<std::int64_t> offlineIds;
        bool written = false;
    };

    void awaitInput();
    asio::awaitable<void> reader();
    asio::awaitable<void> writer();
    void spawn(asio::awaitable<void> work, const char* what);
    asio::awaitable<bool> drain();
    // Takes a command's token; how long to pause first when there was none.
    [[nodiscard]] Clock::duration takeToken();
    void handle(const protocol::Fields& command);
    void armQuietTimer();
    void checkAcknowledged();

    asio::ip::tcp::socket socket_;
    core::ConnId id_;
    std::string address_;
    const ConnectionLimits& limits_;
    ConnectionOwner& owner_;
    core::Log& log_;
    std::span<char> scratch_;
    Framer framer_;
    asio::steady_timer wake_;
    Clock::time_point quietDeadline_ = Clock::time_point::max();
    // Output is appended to one buffer while the other is being written: one
    // write per turn whatever the number of records, and no allocation once
    // the buffers have grown to the usual burst.
    std::string queued_;
    std::string sending_;
    std::vector<OfflineMark> offline_;
    std::uint64_t queuedTotal_ = 0; // stream offset at the end of queued_
    std::uint64_t written_ = 0;     // stream offset the kernel has taken
    double tokens_;
    Clock::time_point refilled_;
    bool open_ = true;
    bool draining_ = false;
    bool writing_ = false;
    bool finishing_ = false;
};

} // namespace velmora::server::net
