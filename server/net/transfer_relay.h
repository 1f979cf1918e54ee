// Joins the two data connections of a file offer and copies between them.
// Each connection arrives here after its hello (the hub checked it): the
// relay waits for the other end, sends both "GO", then passes exactly the
// announced bytes from the sender and at most the verdict back, and closes
// both. Readiness comes from the server's poller (edge-triggered); each end
// remembers whether it may still be readable or writable, and a direction
// reads only what the other side can take, so a receiver that never reads
// costs a pipe's or a buffer's worth of memory, not more. Between two plain
// sockets the bytes go through a pipe with splice(2) and never enter this
// process; with TLS on either end they pass a fixed buffer.
#pragma once

#include "core/effects.h"
#include "core/log.h"
#include "net/tls.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace velmora::server::net {

struct TransferLimits {
    // A data connection that moved nothing for this long is closed.
    std::chrono::seconds idle{60};
    // Bytes per second per sending user, over all of their transfers; 0: no limit.
    std::uint64_t bytesPerSecond = 0;
    // The most a plain direction keeps in its pipe (also the splice size).
    std::size_t pipeBytes = 1 << 20;
    // A direction with TLS on either end copies through a buffer this large.
    std::size_t bufferBytes = 256 * 1024;
};

class TransferRelay {
public:
    using Clock = std::chrono::steady_clock;
    // A data connection closed: `done` when its transfer was complete.
    using Ended = std::function<void(core::ConnId, bool done)>;

    TransferRelay(asio::io_context& io, core::Log& log, TransferLimits limits, Ended ended);
    ~TransferRelay();
    TransferRelay(const TransferRelay&) = delete;
    TransferRelay& operator=(const TransferRelay&) = delete;

    // Takes the socket (and its TLS stream) of a connection whose hello the
    // hub answered. `early`: bytes came after the hello, before any GO.
    void adopt(const core::DataHello& hello, int fd, std::unique_ptr<TlsStream> tls,
               std::string address, bool early);
    // The poller's events for `id`; false when it is not a data connection.
    bool ready(core::ConnId id, std::uint32_t events);
    // The offer was forgotten: its connections close.
    void end(const std::string& token, const std::string& why);
    void stop();
    // Links with a data connection open, and the file bytes passed so far.
    [[nodiscard]] std::size_t active() const { return links_.size(); }
    [[nodiscard]] std::uint64_t bytesPassed() const { return bytesPassed_; }

    struct End;
    struct Link;

private:
    void pump(Link& link);
    // Moves what can be moved without waiting; false when the link failed
    // (`why` says how) and must close.
    bool copyToReceiver(Link& link, std::string& why);
    bool spliceToReceiver(Link& link, std::string& why);
    bool bufferToReceiver(Link& link, std::string& why);
    bool verdictToSender(Link& link, std::string& why);
    bool checkWaiting(Link& link, End& end, std::string& why);
    void go(Link& link);
    // Closes the link's ends; `done` when its transfer is complete.
    void close(Link& link, const std::string& why, bool done);
    void refuse(End& end, const std::string& why);
    // How many bytes the sender may send now (its share of the rate).
    std::uint64_t allowance(Link& link);
    void spend(Link& link, std::uint64_t bytes);
    void waitForTokens(Link& link);
    void sweep();
    void report();

    asio::io_context& io_;
    core::Log& log_;
    TransferLimits limits_;
    Ended ended_;
    asio::steady_timer sweep_;
    std::unordered_map<std::string, std::unique_ptr<Link>> links_;
    std::unordered_map<core::ConnId, Link*> byConn_;
    struct Bucket {
        double tokens = 0;
        Clock::time_point at;
    };
    std::unordered_map<std::string, Bucket> buckets_;
    // Ends closed during this step, reported once it is over.
    std::vector<std::pair<core::ConnId, bool>> closed_;
    std::uint64_t bytesPassed_ = 0;
    bool stopped_ = false;
};

} // namespace velmora::server::net
