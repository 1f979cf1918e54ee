// Accepts connections on one address and carries records between them and
// the hub. Runs on one io_context thread; password work runs on a pool.
// A turn of the loop: the poller reports which sockets are ready, each
// connection reads and hands its commands to the hub, and at the end of the
// turn one commit stores the turn's changes and one send per connection
// carries its output.
#pragma once

#include "core/hub.h"
#include "core/log.h"
#include "net/connection.h"
#include "net/metrics.h"
#include "net/password_pool.h"
#include "net/poller.h"
#include "net/transfer_relay.h"

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <memory_resource>
#include <string>
#include <unordered_map>

namespace velmora::server::net {

struct ServerLimits {
    ConnectionLimits connection;
    std::size_t maxConnections = 10000;
    // Per IPv4 address or IPv6 /64.
    std::size_t maxConnectionsPerAddress = 20;
    // A connection without a session is closed after this long.
    std::chrono::seconds loginTimeout{30};
    // A peer that stops acknowledging (its network vanished) is dropped
    // after about this long: TCP keepalive and TCP_USER_TIMEOUT.
    std::chrono::seconds deadPeer{60};
    // On SIGTERM, queued output gets this long to go out.
    std::chrono::seconds shutdownGrace{2};
    std::size_t passwordThreads = 0; // one per core
    std::size_t passwordQueue = 256;
    TransferLimits transfer;
};

class TlsContext;

// Where connections are counted from, as 16 bytes: an IPv4 address mapped
// into IPv6, or the /64 of an IPv6 address (the key of addressKey()).
using Place = std::array<unsigned char, 16>;
[[nodiscard]] Place placeOf(const asio::ip::address& address);
struct PlaceHash {
    std::size_t operator()(const Place& place) const noexcept;
};

// Takes the records that the hub meant for users of other nodes; a single
// server has none.
class RelaySink {
public:
    virtual void relay(const core::Effects& effects) = 0;

protected:
    ~RelaySink() = default;
};

class Server final : private ConnectionOwner {
public:
    Server(asio::io_context& io, core::Hub& hub, store::Store& store, core::Log& log,
           ServerLimits limits, core::HashCost hashCost);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Binds and starts accepting; returns the bound endpoint (the real port
    // when 0 was asked for). Throws when the address cannot be bound.
    asio::ip::tcp::endpoint listen(const std::string& host, unsigned short port);
    // The same protocol inside TLS on a port of its own, beside or instead
    // of the plain one.
    asio::ip::tcp::endpoint listenTls(const std::string& host, unsigned short port,
                                      std::unique_ptr<TlsContext> tls);
    // Stops accepting, ends every session (buddies hear +LOff), lets queued
    // output go out within the grace time, then closes every connection.
    void stop();

    void setRelay(RelaySink* sink) { relay_ = sink; }
    // Takes new limits, and for the TLS port a new certificate and key,
    // without dropping anyone: open connections keep their TLS stream and
    // their record limit, new ones get the new ones. The password pool,
    // the file transfer limits and the shutdown grace stay as they were.
    void reload(const ServerLimits& limits, std::unique_ptr<TlsContext> tls);
    [[nodiscard]] Metrics& metrics() { return metrics_; }
    // Carries out hub work that did not come from a connection (events of
    // the cluster), as a command's is; a failure is logged.
    void enact(const std::string& what, const std::function<core::Effects()>& work);
    // Turns whose commit failed so far: a caller that waited for the commit
    // of its change tells from this whether it was stored.
    [[nodiscard]] std::uint64_t failedCommits() const { return failedCommits_; }

private:
    using Acceptor = asio::basic_socket_acceptor<asio::ip::tcp, asio::io_context::executor_type>;
    asio::ip::tcp::endpoint open(Acceptor& acceptor, const std::string& host, unsigned short port);
    // `tls` is null on the plain port.
    // `tls`: the TLS port, whose context is taken anew for each connection.
    asio::awaitable<void> acceptLoop(Acceptor& acceptor, bool tls);
    asio::awaitable<void> sweepLoop();
    asio::awaitable<void> quietLoop();
    asio::awaitable<void> acknowledgementLoop();
    using Socket = asio::basic_stream_socket<asio::ip::tcp, asio::io_context::executor_type>;
    void accept(Socket socket, TlsContext* tls);
    void apply(core::Effects& effects);
    void apply(core::Effects&& effects) { apply(effects); }
    // Closes a connection once its queued records are out.
    void finish(const core::Closing& closing);
    void configure(Socket& socket) const;
    void listQuiet(Connection& connection);
    void flushAll();
    void postFlush();
    // Ends the turn's transaction, then sends what waited for it.
    void commitTurn();
    void awaitCommit();
    // Counts the messages among the records going out, and the figures the
    // metrics take from the server's own books.
    void countOut(std::string_view record);
    void publishGauges();

    void onCommand(core::ConnId id, const protocol::FieldViews& command) override;
    void onOutput(Connection& connection) override;
    void onOfflineWritten(core::ConnId id) override;
    void onAwaitingAcknowledgement(Connection& connection) override;
    void onAcknowledged(const std::vector<std::int64_t>& offlineIds) override;
    void onClosed(core::ConnId id) override;
    void onQuietPending(Connection& connection) override;
    // A connection leaves the server's books: closed, or handed on.
    void forget(core::ConnId id);
    // Hands the connections of data hellos to the relay.
    void handOver(const core::Effects& effects);

    asio::io_context& io_;
    core::Hub& hub_;
    store::Store& store_;
    core::Log& log_;
    ServerLimits limits_;
    Metrics metrics_;
    Acceptor acceptor_;
    Acceptor tlsAcceptor_;
    std::unique_ptr<TlsContext> tls_;
    asio::steady_timer sweep_;
    // One timer completes the last command of every connection's burst: the
    // connections with a pending command, each with its own deadline.
    asio::steady_timer quiet_;
    std::vector<std::shared_ptr<Connection>> quietPending_;
    // Connections with output, flushed together once the turn's other work is done.
    std::vector<std::shared_ptr<Connection>> flushPending_;
    // Connections past a turn's share, oldest first (flushAll()).
    std::deque<std::shared_ptr<Connection>> flushBacklog_;
    // Connections whose written offline messages wait for the peer's
    // acknowledgement, looked at again every few milliseconds.
    asio::steady_timer acknowledgements_;
    std::vector<std::shared_ptr<Connection>> ackPending_;
    // Connections that read or wrote since the last sweep: the only ones
    // that may hold buffers to give back, however many are idle.
    std::vector<std::shared_ptr<Connection>> trimPending_;
    PasswordPool passwords_;
    // Map nodes come from a pool: no allocator header on each of a million.
    std::pmr::unsynchronized_pool_resource connectionPool_;
    std::pmr::unordered_map<core::ConnId, std::shared_ptr<Connection>> connections_{
        &connectionPool_};
    // One entry for each place clients connect from: at a million clients
    // that is a million entries, so no string each, and nodes from a pool.
    std::pmr::unsynchronized_pool_resource placePool_;
    std::pmr::unordered_map<Place, std::uint32_t, PlaceHash> perAddress_{&placePool_};
    ReadScratch scratch_;
    TransferRelay transfers_;
    Poller poller_;
    ConnectionContext context_;
    core::Effects effects_;
    // Records of the steps since the turn's first change: they leave once
    // that change is on disk, in the order they were made. `heldWrote_`
    // marks, record by record, those of steps that changed something.
    core::Effects held_;
    std::vector<bool> heldWrote_;
    std::uint64_t changesSeen_ = 0;
    std::uint64_t failedCommits_ = 0;
    bool commitPosted_ = false;
    bool flushPosted_ = false;
    core::ConnId nextId_ = 0;
    bool stopping_ = false;
    bool running_ = false;
    RelaySink* relay_ = nullptr;
};

// The key under which connections from one place are counted: the IPv4
// address (also when mapped into IPv6), or the /64 of an IPv6 address.
[[nodiscard]] std::string addressKey(const asio::ip::address& address);

} // namespace velmora::server::net
