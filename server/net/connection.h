// One client connection, driven by plain callbacks on its socket's readiness
// (the owner's Poller calls ready()). Input: once readable it reads into the
// loop's scratch buffer, frames and handles what arrived, and waits again;
// an idle connection holds nothing else. Output: a delivery only appends to
// one buffer; the owner flushes every connection that has output once per
// loop turn, with one send. The last
// command of a burst is completed by the owner's one quiet timer for all
// connections (quietDeadline()). Every way out goes through stop().
#pragma once

#include "core/effects.h"
#include "core/log.h"
#include "net/framer.h"
#include "net/metrics.h"

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

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

// Shared by every connection of one loop: nothing in it outlives the
// handling of one read.
struct ReadScratch {
    std::array<char, 16384> bytes{};
    protocol::FieldViews fields;
};

class Connection;
class TlsStream;

// The lists an owner keeps connections on; a connection is on each at most once.
enum class Listing : std::uint8_t { Output = 1, Quiet = 2, Acknowledgement = 4, Trim = 8 };

class ConnectionOwner {
public:
    virtual void onCommand(core::ConnId id, const protocol::FieldViews& command) = 0;
    // Output was queued: flush() the connection at the end of this turn.
    virtual void onOutput(Connection& connection) = 0;
    // A batch carrying offline messages was handed to the kernel.
    virtual void onOfflineWritten(core::ConnId id) = 0;
    // Offline messages wait for the peer's acknowledgement: call
    // pollAcknowledged() now and then.
    virtual void onAwaitingAcknowledgement(Connection& connection) = 0;
    // The peer acknowledged the bytes of these offline messages.
    virtual void onAcknowledged(const std::vector<std::int64_t>& offlineIds) = 0;
    virtual void onClosed(core::ConnId id) = 0;
    // The connection has a pending command to take at its quiet deadline.
    virtual void onQuietPending(Connection& connection) = 0;

protected:
    ~ConnectionOwner() = default;
};

// What every connection of one loop shares.
struct ConnectionContext {
    asio::io_context& io;
    const ConnectionLimits& limits;
    ConnectionOwner& owner;
    core::Log& log;
    ReadScratch& scratch;
    Metrics& metrics;
};

class Connection : public std::enable_shared_from_this<Connection> {
public:
    // Takes ownership of `fd`, a connected non-blocking TCP socket.
    Connection(int fd, core::ConnId id, std::string ip, std::uint16_t port,
               const ConnectionContext& context);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[nodiscard]] int fd() const { return fd_; }
    // The connection speaks TLS on its socket (before start()).
    void useTls(std::unique_ptr<TlsStream> tls);
    void start();
    // The socket's epoll events (edge-triggered: each says something changed).
    void ready(std::uint32_t events);
    // Queues one or more records; `offlineIds` are the offline messages they
    // carry; a `page` of the mailbox is reported written (onOfflineWritten).
    void deliver(std::string_view bytes, std::vector<std::int64_t> offlineIds = {},
                 bool page = false);
    // Sends what is queued; called by the owner once per turn after onOutput().
    void flush();
    // Gives back the buffers that hold nothing; the owner calls it now and
    // then, so that an idle connection costs no more than its socket. False
    // once there is nothing left to give back.
    bool trim();
    void stop(const std::string& reason);
    // What a connection that leaves the command path hands on.
    struct Released {
        int fd = -1;
        std::unique_ptr<TlsStream> tls;
        // Bytes came after the last command taken.
        bool more = false;
    };
    // Ends the connection here without closing its socket, which stays in
    // the poller's set under this id.
    Released release();
    // Stops reading, sends what is queued, then closes; `reason` goes to the log.
    void finish(std::string reason = "server shutting down");

    using Clock = asio::steady_timer::clock_type;
    [[nodiscard]] core::ConnId id() const { return id_; }
    [[nodiscard]] std::string ip() const;
    // When the pending command is to be taken; time_point::max() when none.
    [[nodiscard]] Clock::time_point quietDeadline() const { return quietDeadline_; }
    // Takes the pending command if its deadline has passed; the new deadline.
    Clock::time_point quietTick(Clock::time_point now);
    // Reports what the peer acknowledged; true while written offline
    // messages still wait for it.
    bool pollAcknowledged();

    // The owner's bookkeeping of its lists: list() is false when already listed.
    bool list(Listing which) { return !(listed_ & bit(which)) && (listed_ |= bit(which), true); }
    void unlist(Listing which) { listed_ &= static_cast<std::uint8_t>(~bit(which)); }

private:
    // Offline messages whose record ends at this offset of the output
    // stream; once written, at this offset of the stream on the wire.
    struct OfflineMark {
        std::uint64_t end = 0;
        std::vector<std::int64_t> offlineIds;
        bool written = false;
    };

    static std::uint8_t bit(Listing which) { return static_cast<std::uint8_t>(which); }
    // Runs one step of the connection's work; a failure ends the connection,
    // never the server.
    template <typename Step> void guarded(const char* what, Step&& step) {
        try {
            step();
        } catch (const std::exception& e) {
            stop(std::string(what) + " failed: " + e.what());
        }
    }
    void readInput();
    // The TLS side of ready(), read and write: false when ready() has
    // nothing more to do.
    bool tlsReady(std::uint32_t& events);
    ssize_t tlsRead(char* into, std::size_t size);
    ssize_t tlsWrite(const char* from, std::size_t size);
    // What the last failed recv/send, or TLS step, means.
    [[nodiscard]] std::string failureText() const;
    // The stream offset on the wire the kernel has taken: with TLS the
    // ciphertext, which the kernel's unacknowledged count refers to.
    [[nodiscard]] std::uint64_t wireWritten() const;
    void drain();
    void writeOut();
    void post(void (Connection::*step)(), const char* what);
    // How long to pause before the next command for want of a token.
    [[nodiscard]] Clock::duration tokenWait();
    void handle(const protocol::FieldViews& command);
    void armQuietTimer();
    void checkAcknowledged();
    [[nodiscard]] std::string prefix() const;

    // What few connections need, made when first needed, so that an idle
    // connection does not carry it: a peer over its command budget waits on
    // a timer; offline messages wait for the peer's acknowledgement.
    struct Rare {
        std::unique_ptr<asio::steady_timer> pause;
        std::vector<OfflineMark> offline;
        // Why the connection closes once its output is out (finish()).
        std::string finishReason;
    };
    Rare& rare() {
        if (!rare_) {
            rare_ = std::make_unique<Rare>();
        }
        return *rare_;
    }
    [[nodiscard]] bool hasOffline() const { return rare_ && !rare_->offline.empty(); }

    core::ConnId id_;
    const ConnectionContext& context_;
    Framer framer_;
    std::unique_ptr<Rare> rare_;
    Clock::time_point quietDeadline_ = Clock::time_point::max();
    // Records waiting to go out; the first `sent` bytes are already sent.
    // Made by the first delivery and given back by trim() once empty: most
    // held connections are idle.
    struct Output {
        std::string bytes;
        std::size_t sent = 0;
    };
    std::unique_ptr<Output> out_;
    [[nodiscard]] std::size_t unsent() const { return out_ ? out_->bytes.size() - out_->sent : 0; }
    std::unique_ptr<TlsStream> tls_; // none on the plain port
    std::uint64_t queuedTotal_ = 0;  // stream offset at the end of out_
    std::uint64_t written_ = 0;      // stream offset the kernel has taken
    Clock::time_point refilled_;
    // The peer's address, IPv4 mapped into IPv6: half the size of its text.
    std::array<unsigned char, 16> address_{};
    int fd_;
    // The command budget left; a float, as every connection carries one.
    float tokens_;
    std::uint16_t port_;
    std::uint8_t listed_ = 0;
    bool open_ : 1 = true;
    bool draining_ : 1 = false;
    bool writing_ : 1 = false; // waiting for the socket to take more
    bool finishing_ : 1 = false;
    bool reading_ : 1 = false;  // between a read and the end of its drain
    bool readable_ : 1 = false; // input came while reading_: read again
    bool readFull_ : 1 = false; // the last read filled the scratch buffer
};

} // namespace velmora::server::net
