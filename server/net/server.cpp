#include "net/server.h"
#include "core/address_key.h"
#include "net/tls.h"
#include "protocol/transfer.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <type_traits>
#include <utility>

namespace velmora::server::net {

using asio::ip::tcp;

namespace {
constexpr auto kSweepEvery = std::chrono::seconds(1);
// How often unacknowledged offline messages are looked at again.
constexpr auto kAcknowledgementPoll = std::chrono::milliseconds(20);
constexpr int kListenBacklog = 65535;
// Connections flushed in one turn; the rest wait for the next.
constexpr std::size_t kFlushesPerTurn = 256;

// Runs one hub call; a failure is logged and the server goes on. `what`
// names the work, and is only built when there is something to log.
template <typename What, typename Call> void trapped(core::Log& log, What&& what, Call&& call) {
    try {
        call();
    } catch (const std::exception& e) {
        if constexpr (std::is_invocable_v<What>) {
            log.line(what() + " failed: " + e.what());
        } else {
            log.line(std::string(what) + " failed: " + e.what());
        }
    }
}

std::string commandOf(core::ConnId id) {
    return "#" + std::to_string(id) + " command";
}

// The connections of one of the lists, taken for one round; each is marked
// unlisted, so that the round's work may list it again.
std::vector<std::shared_ptr<Connection>> takeRound(std::vector<std::shared_ptr<Connection>>& list,
                                                   Listing which) {
    auto round = std::move(list);
    list.clear();
    for (const auto& connection : round) {
        connection->unlist(which);
    }
    return round;
}
} // namespace

Place placeOf(const asio::ip::address& address) {
    if (address.is_v4()) {
        return asio::ip::make_address_v6(asio::ip::v4_mapped, address.to_v4()).to_bytes();
    }
    auto bytes = address.to_v6().to_bytes();
    if (!address.to_v6().is_v4_mapped()) {
        std::fill(bytes.begin() + 8, bytes.end(), 0);
    }
    return bytes;
}

std::size_t PlaceHash::operator()(const Place& place) const noexcept {
    std::uint64_t high = 0, low = 0;
    std::memcpy(&high, place.data(), 8);
    std::memcpy(&low, place.data() + 8, 8);
    return std::hash<std::uint64_t>()(high * 0x9E3779B97F4A7C15u ^ low);
}

std::string addressKey(const asio::ip::address& address) {
    return core::addressKey(address.to_string()).value_or(address.to_string());
}

Server::Server(asio::io_context& io, core::Hub& hub, store::Store& store, core::Log& log,
               ServerLimits limits, core::HashCost hashCost)
    : io_(io), hub_(hub), store_(store), log_(log), limits_(limits), acceptor_(io),
      tlsAcceptor_(io), sweep_(io), quiet_(io), acknowledgements_(io),
      passwords_(io.get_executor(), hashCost, limits.passwordThreads, limits.passwordQueue),
      transfers_(io, log, limits.transfer,
                 [this](core::ConnId id, bool done) {
                     trapped(log_, "ending a data connection", [&] { hub_.dataEnded(id, done); });
                 }),
      poller_(io,
              [this](core::ConnId id, std::uint32_t events) {
                  if (const auto it = connections_.find(id); it != connections_.end()) {
                      const auto connection = it->second;
                      if (connection->list(Listing::Trim)) {
                          trimPending_.push_back(connection);
                      }
                      connection->ready(events);
                  } else {
                      trapped(log_, "a data connection", [&] { transfers_.ready(id, events); });
                  }
              }),
      context_{io,   limits_.connection, static_cast<ConnectionOwner&>(*this),
               log_, scratch_,           metrics_} {}

Server::~Server() = default;

tcp::endpoint Server::listen(const std::string& host, unsigned short port) {
    const auto endpoint = open(acceptor_, host, port);
    asio::co_spawn(io_, acceptLoop(acceptor_, false), asio::detached);
    return endpoint;
}

tcp::endpoint Server::listenTls(const std::string& host, unsigned short port,
                                std::unique_ptr<TlsContext> tls) {
    const auto endpoint = open(tlsAcceptor_, host, port);
    tls_ = std::move(tls);
    asio::co_spawn(io_, acceptLoop(tlsAcceptor_, true), asio::detached);
    return endpoint;
}

tcp::endpoint Server::open(Acceptor& acceptor, const std::string& host, unsigned short port) {
    const tcp::endpoint endpoint(asio::ip::make_address(host), port);
    acceptor.open(endpoint.protocol());
    acceptor.set_option(asio::socket_base::reuse_address(true));
    acceptor.bind(endpoint);
    // As deep as net.core.somaxconn allows (SOMAXCONN would cap it at 4096):
    // after a restart every client of the node reconnects at once.
    acceptor.listen(kListenBacklog);
    if (!std::exchange(running_, true)) {
        asio::co_spawn(io_, sweepLoop(), asio::detached);
        asio::co_spawn(io_, quietLoop(), asio::detached);
        asio::co_spawn(io_, acknowledgementLoop(), asio::detached);
        poller_.start();
    }
    return acceptor.local_endpoint();
}

void Server::stop() {
    if (std::exchange(stopping_, true)) {
        return;
    }
    asio::error_code ignored;
    acceptor_.close(ignored);
    tlsAcceptor_.close(ignored);
    sweep_.cancel();
    quiet_.cancel();
    acknowledgements_.cancel();
    transfers_.stop();
    std::vector<core::ConnId> ids;
    for (const auto& [id, connection] : connections_) {
        ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    // Every session ends while the others can still hear of it.
    for (const auto id : ids) {
        trapped(log_, "ending a session", [&] { apply(hub_.disconnected(id)); });
    }
    for (const auto id : ids) {
        if (const auto it = connections_.find(id); it != connections_.end()) {
            const auto connection = it->second;
            connection->finish();
        }
    }
    if (connections_.empty()) {
        poller_.stop();
        return;
    }
    sweep_.expires_after(limits_.shutdownGrace);
    sweep_.async_wait([this](const asio::error_code&) {
        auto open = connections_;
        for (auto& [id, connection] : open) {
            connection->stop("server shutting down: output not taken in time");
        }
    });
}

asio::awaitable<void> Server::acceptLoop(Acceptor& acceptor, bool tls) {
    asio::steady_timer pause(io_);
    while (acceptor.is_open()) {
        asio::error_code ec;
        auto socket = co_await acceptor.async_accept(asio::redirect_error(asio::use_awaitable, ec));
        if (ec == asio::error::operation_aborted || !acceptor.is_open()) {
            co_return;
        }
        if (ec) {
            // Out of descriptors and the like: back off instead of spinning.
            log_.line("accept failed: " + ec.message());
            pause.expires_after(std::chrono::milliseconds(100));
            co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ec));
            continue;
        }
        trapped(log_, "accepting a connection",
                [&] { accept(std::move(socket), tls ? tls_.get() : nullptr); });
    }
}

asio::awaitable<void> Server::sweepLoop() {
    while (!stopping_) {
        sweep_.expires_after(kSweepEvery);
        asio::error_code ec;
        co_await sweep_.async_wait(asio::redirect_error(asio::use_awaitable, ec));
        if (stopping_) {
            co_return;
        }
        for (auto& connection : takeRound(trimPending_, Listing::Trim)) {
            if (connection->trim() && connection->list(Listing::Trim)) {
                trimPending_.push_back(std::move(connection));
            }
        }
        publishGauges();
        const auto cutoff = core::Hub::Clock::now() - limits_.loginTimeout;
        for (const auto id : hub_.anonymousSince(cutoff)) {
            if (const auto it = connections_.find(id); it != connections_.end()) {
                const auto connection = it->second;
                connection->stop("no login within " + std::to_string(limits_.loginTimeout.count()) +
                                 " s");
            }
        }
    }
}

void Server::listQuiet(Connection& connection) {
    // A connection stays listed while it has a pending command; its deadline
    // moves with each read.
    if (connection.list(Listing::Quiet)) {
        quietPending_.push_back(connection.shared_from_this());
    }
}

void Server::onQuietPending(Connection& connection) {
    listQuiet(connection);
    // The one timer only moves earlier.
    if (connection.quietDeadline() < quiet_.expiry()) {
        quiet_.expires_at(connection.quietDeadline());
    }
}

asio::awaitable<void> Server::quietLoop() {
    quiet_.expires_at(asio::steady_timer::time_point::max());
    while (!stopping_) {
        asio::error_code ec;
        co_await quiet_.async_wait(asio::redirect_error(asio::use_awaitable, ec));
        if (stopping_) {
            co_return;
        }
        const auto now = Connection::Clock::now();
        if (quiet_.expiry() > now) {
            continue; // moved earlier while we waited: wait again
        }
        auto next = Connection::Clock::time_point::max();
        // Taking a command may add or remove entries: work on this round's list.
        for (auto& connection : takeRound(quietPending_, Listing::Quiet)) {
            trapped(
                log_, [&] { return commandOf(connection->id()); },
                [&] {
                    if (connection->quietTick(now) != Connection::Clock::time_point::max()) {
                        listQuiet(*connection);
                    }
                });
        }
        for (const auto& connection : quietPending_) {
            next = std::min(next, connection->quietDeadline());
        }
        quiet_.expires_at(next);
    }
}

asio::awaitable<void> Server::acknowledgementLoop() {
    while (!stopping_) {
        asio::error_code ec;
        if (ackPending_.empty()) {
            acknowledgements_.expires_at(asio::steady_timer::time_point::max());
        } else {
            acknowledgements_.expires_after(kAcknowledgementPoll);
        }
        co_await acknowledgements_.async_wait(asio::redirect_error(asio::use_awaitable, ec));
        if (stopping_) {
            co_return;
        }
        for (auto& connection : takeRound(ackPending_, Listing::Acknowledgement)) {
            if (connection->pollAcknowledged()) {
                onAwaitingAcknowledgement(*connection);
            }
        }
    }
}

void Server::onAwaitingAcknowledgement(Connection& connection) {
    if (connection.list(Listing::Acknowledgement)) {
        if (ackPending_.empty()) {
            acknowledgements_.cancel(); // from waiting for ever to polling
        }
        ackPending_.push_back(connection.shared_from_this());
    }
}

void Server::onOutput(Connection& connection) {
    if (connection.list(Listing::Trim)) {
        trimPending_.push_back(connection.shared_from_this());
    }
    if (!connection.list(Listing::Output)) {
        return;
    }
    flushPending_.push_back(connection.shared_from_this());
    postFlush();
}

void Server::postFlush() {
    if (!std::exchange(flushPosted_, true)) {
        // Runs after the handlers already queued, the rest of this turn's
        // reads among them: each connection's output goes in one send.
        asio::post(io_, [this] { flushAll(); });
    }
}

void Server::flushAll() {
    // A turn sends to a bounded number of connections: what one event gave
    // to thousands (a popular user's presence) waits in the backlog and goes
    // out between other work, behind the output of the turns that follow,
    // so that nobody else's message waits for all of it.
    flushPosted_ = false;
    std::size_t budget = kFlushesPerTurn;
    for (auto& connection : takeRound(flushPending_, Listing::Output)) {
        if (budget > 0) {
            --budget;
            connection->flush();
        } else {
            flushBacklog_.push_back(std::move(connection));
        }
    }
    for (; budget > 0 && !flushBacklog_.empty(); --budget) {
        const auto connection = std::move(flushBacklog_.front());
        flushBacklog_.pop_front();
        connection->flush();
    }
    if (!flushBacklog_.empty() || !flushPending_.empty()) {
        postFlush();
    }
}

void Server::configure(Socket& socket) const {
    asio::error_code ec;
    socket.set_option(tcp::no_delay(true), ec);
    socket.set_option(asio::socket_base::keep_alive(true), ec);
    // Probes start at half the dead-peer time; three unanswered ones, spread
    // over the other half, end the connection. TCP_USER_TIMEOUT covers data
    // that is sent and never acknowledged.
    const int seconds = static_cast<int>(std::max<long>(limits_.deadPeer.count(), 2));
    const int idle = seconds / 2;
    const int interval = std::max(1, (seconds - idle) / 3);
    const int count = 3;
    const unsigned userTimeout = static_cast<unsigned>(seconds) * 1000u;
    const int fd = socket.native_handle();
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    ::setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &count, sizeof count);
    ::setsockopt(fd, IPPROTO_TCP, TCP_USER_TIMEOUT, &userTimeout, sizeof userTimeout);
}

void Server::accept(Socket socket, TlsContext* tls) {
    asio::error_code ec;
    const auto peer = socket.remote_endpoint(ec);
    if (ec) {
        return;
    }
    const std::string ip = peer.address().to_string();
    const std::string address = ip + ":" + std::to_string(peer.port());
    if (connections_.size() >= limits_.maxConnections) {
        log_.line(address + " refused: " + std::to_string(limits_.maxConnections) +
                  " connections open");
        return;
    }
    const Place place = placeOf(peer.address());
    const auto there = perAddress_.find(place);
    const std::size_t fromThere = there == perAddress_.end() ? 0 : there->second;
    if (fromThere >= limits_.maxConnectionsPerAddress) {
        log_.line(address + " refused: " + std::to_string(fromThere) + " connections open from " +
                  addressKey(peer.address()));
        return;
    }
    configure(socket);
    socket.non_blocking(true, ec);
    const core::ConnId id = ++nextId_;
    // From here the poller watches the socket, not asio.
    const int fd = socket.release(ec);
    if (ec) {
        return;
    }
    auto connection = std::make_shared<Connection>(fd, id, ip, peer.port(), context_);
    if (tls) {
        connection->useTls(tls->accept(fd));
    }
    poller_.add(fd, id);
    ++perAddress_[place];
    connections_.emplace(id, connection);
    hub_.connected(id, ip, core::Hub::Clock::now(), tls != nullptr);
    connection->start();
}

void Server::enact(const std::string& what, const std::function<core::Effects()>& work) {
    metrics_.busReceived.add();
    trapped(log_, what, [&] { apply(work()); });
}

void Server::apply(core::Effects& effects) {
    if (relay_ && !effects.relays.empty()) {
        if (store_.inTransaction()) {
            // A relay may carry a message stored this turn: the other node
            // must not send it before it is on disk.
            for (const auto& r : effects.relays) {
                held_.relay(r.node, r.user, effects.record(r), r.numbered);
            }
        } else {
            metrics_.busPublished.add(effects.relays.size());
            relay_->relay(effects);
        }
    }
    for (const auto& closing : effects.close) {
        if (closing.afterOutput) {
            continue; // below, once its records are queued
        }
        if (const auto it = connections_.find(closing.conn); it != connections_.end()) {
            const auto connection = it->second;
            connection->stop(closing.reason);
        }
    }
    const bool wrote = store_.changes() != changesSeen_;
    changesSeen_ = store_.changes();
    if (store_.inTransaction()) {
        // A reply may say that a change is stored (+UNO): it, and everything
        // after it, waits for the commit at the end of the turn.
        for (auto& out : effects.out) {
            held_.send(out.to, effects.record(out), std::move(out.offlineIds), out.page);
            heldWrote_.push_back(wrote);
        }
        awaitCommit();
    } else {
        // Records go out in the order they were produced; a connection's
        // share of them leaves in one send at the end of the turn.
        for (auto& out : effects.out) {
            if (const auto it = connections_.find(out.to); it != connections_.end()) {
                countOut(effects.record(out));
                it->second->deliver(effects.record(out), std::move(out.offlineIds), out.page);
            }
        }
    }
    for (const auto& closing : effects.close) {
        if (closing.afterOutput) {
            if (store_.inTransaction()) {
                held_.close.push_back(closing); // its goodbye waits for the commit
            } else {
                finish(closing);
            }
        }
    }
    handOver(effects);
    for (const auto id : effects.mailboxes) {
        apply(hub_.openMailbox(id));
    }
    for (auto& job : effects.passwords) {
        const bool queued = passwords_.submit(job, [this](const core::PasswordResult& result) {
            trapped(log_, "finishing a login", [&] { apply(hub_.passwordDone(result)); });
        });
        if (!queued) {
            apply(hub_.passwordDone({std::move(job), false, {}}, true));
        }
    }
}

void Server::onCommand(core::ConnId id, const protocol::FieldViews& command) {
    // One Effects for every command: its buffers are reused, not reallocated.
    effects_.clear();
    trapped(
        log_, [id] { return commandOf(id); },
        [&] {
            hub_.handle(id, command, effects_);
            apply(effects_);
        });
}

void Server::onOfflineWritten(core::ConnId id) {
    trapped(
        log_, [id] { return "#" + std::to_string(id) + " offline paging"; },
        [&] { apply(hub_.offlineWritten(id)); });
}

void Server::onAcknowledged(const std::vector<std::int64_t>& offlineIds) {
    metrics_.offlineDelivered.add(offlineIds.size());
    trapped(log_, "removing delivered offline messages", [&] { hub_.acknowledged(offlineIds); });
    changesSeen_ = store_.changes();
    if (store_.inTransaction()) {
        awaitCommit();
    }
}

void Server::awaitCommit() {
    if (!std::exchange(commitPosted_, true)) {
        // After the handlers already queued, this turn's reads among them:
        // one disk sync for all of their changes.
        asio::post(io_, [this] { commitTurn(); });
    }
}

void Server::commitTurn() {
    commitPosted_ = false;
    bool committed = true;
    const auto started = std::chrono::steady_clock::now();
    trapped(log_, "storing this turn's changes", [&] {
        committed = false;
        store_.commit();
        committed = true;
    });
    metrics_.storeCommits.add();
    metrics_.storeCommitMicroseconds.add(
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                       std::chrono::steady_clock::now() - started)
                                       .count()));
    // Delivering may end a connection, and its end may hold new records.
    auto held = std::exchange(held_, {});
    auto wrote = std::exchange(heldWrote_, {});
    std::size_t dropped = 0;
    for (std::size_t i = 0; i < held.out.size(); ++i) {
        auto& out = held.out[i];
        // Without the commit, what a changing step answered is not true.
        if (!committed && wrote[i]) {
            ++dropped;
            continue;
        }
        if (const auto it = connections_.find(out.to); it != connections_.end()) {
            countOut(held.record(out));
            it->second->deliver(held.record(out), std::move(out.offlineIds), out.page);
        }
    }
    if (dropped > 0) {
        log_.line(std::to_string(dropped) + " replies to changes that were not stored dropped");
    }
    if (!committed) {
        ++failedCommits_;
    }
    for (const auto& closing : held.close) {
        finish(closing);
    }
    if (relay_ && !held.relays.empty()) {
        metrics_.busPublished.add(held.relays.size());
        relay_->relay(held);
    }
    // Nothing was held meanwhile: the next turn reuses these buffers.
    if (held_.out.empty()) {
        held.clear();
        wrote.clear();
        held_ = std::move(held);
        heldWrote_ = std::move(wrote);
    }
}

void Server::finish(const core::Closing& closing) {
    if (const auto it = connections_.find(closing.conn); it != connections_.end()) {
        const auto connection = it->second;
        connection->finish(closing.reason);
    }
}

void Server::handOver(const core::Effects& effects) {
    for (const auto& token : effects.endedOffers) {
        transfers_.end(token, std::string(protocol::transfer::reason::kCancelled));
    }
    for (const auto& hello : effects.dataHellos) {
        const auto it = connections_.find(hello.conn);
        if (it == connections_.end()) {
            continue;
        }
        const auto connection = it->second;
        auto released = connection->release();
        log_.line(
            "#" + std::to_string(hello.conn) + " " + connection->ip() +
            (hello.refusal.empty() ? " is a data connection" : " closed (" + hello.refusal + ")"));
        forget(hello.conn);
        apply(hub_.disconnected(hello.conn));
        transfers_.adopt(hello, released.fd, std::move(released.tls), connection->ip(),
                         released.more);
    }
}

void Server::onClosed(core::ConnId id) {
    forget(id);
    trapped(
        log_, [id] { return "#" + std::to_string(id) + " disconnect handling"; },
        [&] { apply(hub_.disconnected(id)); });
    if (stopping_ && connections_.empty()) {
        sweep_.cancel();
        poller_.stop();
    }
    // The lists let go of it on their next round.
}

void Server::forget(core::ConnId id) {
    if (const auto it = connections_.find(id); it != connections_.end()) {
        // The key again, from the address the connection was accepted from.
        const auto place = placeOf(asio::ip::make_address(it->second->ip()));
        if (const auto count = perAddress_.find(place);
            count != perAddress_.end() && --count->second == 0) {
            perAddress_.erase(count);
        }
        connections_.erase(it);
    }
}

void Server::countOut(std::string_view record) {
    // " ## +PM /$/ …": the code sits at a fixed place, so this is two
    // compares per record.
    if (record.size() < 7 || record[4] != '+') {
        return;
    }
    const std::string_view code = record.substr(5, 3);
    if (code == "PM " || code == "CM ") {
        metrics_.messagesRelayed.add();
    } else if (code == "UNO") {
        metrics_.offlineStored.add();
    }
}

void Server::publishGauges() {
    metrics_.connections.set(connections_.size());
    metrics_.sessions.set(
        static_cast<std::uint64_t>(std::max<std::int64_t>(metrics_.openSessions, 0)));
    metrics_.passwordQueue.set(passwords_.queued());
    metrics_.fileTransfersActive.set(transfers_.active());
    metrics_.fileBytes.set(transfers_.bytesPassed());
}

void Server::reload(const ServerLimits& limits, std::unique_ptr<TlsContext> tls) {
    const ServerLimits kept = limits_;
    limits_ = limits;
    limits_.passwordThreads = kept.passwordThreads;
    limits_.passwordQueue = kept.passwordQueue;
    limits_.transfer = kept.transfer;
    limits_.shutdownGrace = kept.shutdownGrace;
    // Open TLS connections hold their own reference to the old context's
    // certificate and key (OpenSSL counts them), so it may go now.
    if (tls && tls_) {
        tls_ = std::move(tls);
    }
}

} // namespace velmora::server::net
