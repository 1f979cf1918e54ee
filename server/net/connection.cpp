#include "net/connection.h"
#include "net/tls.h"

#include <asio/ip/address.hpp>
#include <asio/post.hpp>

#include <linux/sockios.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <algorithm>
#include <utility>

namespace velmora::server::net {

namespace {
// Commands handled in a row before the connection lets others run.
constexpr int kCommandsPerTurn = 64;
// Past this, an output buffer emptied after a burst gives its memory back at
// once; a smaller one is kept for the next turn until the owner's trim().
constexpr std::size_t kKeepCapacity = 64 * 1024;
} // namespace

Connection::Connection(int fd, core::ConnId id, std::string ip, std::uint16_t port,
                       const ConnectionContext& context)
    : id_(id), context_(context), framer_(context.limits.maxRecordBytes), refilled_(Clock::now()),
      fd_(fd), tokens_(static_cast<float>(context.limits.commandBurst)), port_(port) {
    asio::error_code ec;
    const auto address = asio::ip::make_address(ip, ec);
    address_ = address.is_v6()
                   ? address.to_v6().to_bytes()
                   : asio::ip::make_address_v6(asio::ip::v4_mapped, address.to_v4()).to_bytes();
}

std::string Connection::ip() const {
    const asio::ip::address_v6 address(address_);
    return address.is_v4_mapped()
               ? asio::ip::make_address_v4(asio::ip::v4_mapped, address).to_string()
               : address.to_string();
}

std::string Connection::prefix() const {
    return "#" + std::to_string(id_) + " " + ip() + ":" + std::to_string(port_);
}

Connection::~Connection() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

void Connection::start() {
    context_.log.line(prefix() + " connected");
}

void Connection::ready(std::uint32_t events) {
    if (!open_ || (tls_ && !tlsReady(events))) {
        return;
    }
    if ((events & (EPOLLOUT | EPOLLERR | EPOLLHUP)) && writing_) {
        writing_ = false; // the socket has room again
        flush();
    }
    if (open_ && !finishing_ && (events & (EPOLLIN | EPOLLRDHUP | EPOLLERR | EPOLLHUP))) {
        if (reading_) {
            readable_ = true; // taken up when the drain under way ends
        } else {
            guarded("read", [&] { readInput(); });
        }
    }
}

void Connection::post(void (Connection::*step)(), const char* what) {
    asio::post(context_.io, [self = shared_from_this(), step, what] {
        if (self->open_) {
            self->guarded(what, [&] { ((*self).*step)(); });
        }
    });
}

void Connection::deliver(std::string_view bytes, std::vector<std::int64_t> offlineIds, bool page) {
    if (!open_) {
        return;
    }
    // Only a peer whose socket is full counts as not reading: a burst that
    // one turn makes for a reader goes out whole, whatever its size.
    if (writing_ && unsent() + bytes.size() > context_.limits.maxPendingBytes) {
        stop("output over " + std::to_string(context_.limits.maxPendingBytes) +
             " bytes: peer not reading, dropped");
        return;
    }
    if (!out_) {
        out_ = std::make_unique<Output>();
    }
    out_->bytes += bytes;
    queuedTotal_ += bytes.size();
    if (!offlineIds.empty() || page) {
        rare().offline.push_back({queuedTotal_, std::move(offlineIds), false});
    }
    if (!writing_) {
        context_.owner.onOutput(*this);
    }
}

bool Connection::trim() {
    if (out_ && out_->bytes.empty()) {
        out_.reset();
    }
    framer_.trim();
    // A pause long over and no offline messages in flight: nothing rare left.
    if (rare_ && rare_->offline.empty() &&
        (!rare_->pause || rare_->pause->expiry() + std::chrono::seconds(1) < Clock::now())) {
        rare_.reset();
    }
    return open_ && (out_ || framer_.buffered() > 0 || rare_);
}

void Connection::flush() {
    if (open_ && !writing_) {
        guarded("write", [&] { writeOut(); });
    }
}

void Connection::stop(const std::string& reason) {
    if (!open_) {
        return;
    }
    // Whatever the peer acknowledged before the end counts as delivered.
    checkAcknowledged();
    open_ = false;
    context_.log.line(prefix() + " closed (" + reason + ")");
    if (tls_) {
        tls_->close();
    }
    ::shutdown(fd_, SHUT_RDWR);
    ::close(fd_); // also leaves the poller's set
    fd_ = -1;
    if (rare_ && rare_->pause) {
        rare_->pause->cancel();
    }
    quietDeadline_ = Clock::time_point::max();
    out_.reset();
    if (rare_) {
        rare_->offline.clear();
    }
    context_.owner.onClosed(id_);
}

Connection::Released Connection::release() {
    Released released{std::exchange(fd_, -1), std::move(tls_), framer_.buffered() > 0};
    open_ = false;
    if (rare_ && rare_->pause) {
        rare_->pause->cancel();
    }
    quietDeadline_ = Clock::time_point::max();
    out_.reset();
    if (rare_) {
        rare_->offline.clear();
    }
    return released;
}

void Connection::finish(std::string reason) {
    if (!open_ || finishing_) {
        return;
    }
    finishing_ = true;
    // Kept with the rare parts: few connections ever finish this way.
    rare().finishReason = std::move(reason);
    // Nothing more is read; a write under way goes on.
    ::shutdown(fd_, SHUT_RD);
    quietDeadline_ = Clock::time_point::max();
    if (unsent() == 0) {
        stop(std::string(rare_->finishReason));
    }
}

void Connection::handle(const protocol::FieldViews& command) {
    if (open_ && !finishing_) {
        context_.owner.onCommand(id_, command);
    }
}

void Connection::checkAcknowledged() {
    if (!hasOffline() || !rare_->offline.front().written) {
        return;
    }
    auto& offline = rare_->offline;
    int unacknowledged = 0;
    if (::ioctl(fd_, SIOCOUTQ, &unacknowledged) != 0 || unacknowledged < 0) {
        return;
    }
    const std::uint64_t acknowledged = wireWritten() - static_cast<std::uint64_t>(unacknowledged);
    std::vector<std::int64_t> ids;
    std::size_t done = 0;
    while (done < offline.size() && offline[done].written && offline[done].end <= acknowledged) {
        ids.insert(ids.end(), offline[done].offlineIds.begin(), offline[done].offlineIds.end());
        ++done;
    }
    offline.erase(offline.begin(), offline.begin() + static_cast<std::ptrdiff_t>(done));
    if (!ids.empty()) {
        context_.owner.onAcknowledged(ids);
    }
}

bool Connection::pollAcknowledged() {
    if (!open_) {
        return false;
    }
    checkAcknowledged();
    return hasOffline() && rare_->offline.front().written;
}

Connection::Clock::duration Connection::tokenWait() {
    if (context_.limits.commandsPerSecond <= 0) {
        return {};
    }
    const auto now = Clock::now();
    const std::chrono::duration<double> since = now - refilled_;
    refilled_ = now;
    tokens_ = static_cast<float>(std::min(
        context_.limits.commandBurst, tokens_ + since.count() * context_.limits.commandsPerSecond));
    if (tokens_ >= 1) {
        return {};
    }
    // Short of a token: the wait until one is earned.
    const std::chrono::duration<double> wait((1 - tokens_) / context_.limits.commandsPerSecond);
    return std::chrono::duration_cast<Clock::duration>(wait);
}

void Connection::readInput() {
    if (!open_ || finishing_) {
        return;
    }
    reading_ = true;
    readable_ = false;
    auto& bytes = context_.scratch.bytes;
    const ssize_t n =
        tls_ ? tlsRead(bytes.data(), bytes.size()) : ::recv(fd_, bytes.data(), bytes.size(), 0);
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        reading_ = false; // the next edge brings us back
        return;
    }
    if (n <= 0) {
        stop(n == 0 ? std::string("peer closed") : failureText());
        return;
    }
    context_.metrics.bytesReceived.add(static_cast<std::uint64_t>(n));
    // The loop's buffer is copied into the framer before anything else runs.
    framer_.feed(std::string_view(bytes.data(), static_cast<std::size_t>(n)));
    readFull_ = static_cast<std::size_t>(n) == bytes.size();
    drain();
}

// Handles every command the buffer completes, then goes back to reading.
void Connection::drain() {
    draining_ = true;
    for (int inTurn = 0; open_ && !finishing_; ++inTurn) {
        if (inTurn == kCommandsPerTurn) {
            // Other connections go first; this one goes on after them.
            post(&Connection::drain, "read");
            return;
        }
        if (const auto wait = tokenWait(); wait > Clock::duration::zero()) {
            // Back-pressure: nothing more is read from this peer until then.
            auto& pause = rare().pause;
            if (!pause) {
                pause = std::make_unique<asio::steady_timer>(context_.io);
            }
            pause->expires_after(wait);
            pause->async_wait([self = shared_from_this()](const asio::error_code&) {
                if (self->open_) {
                    self->guarded("read", [&] { self->drain(); });
                }
            });
            return;
        }
        const auto next = framer_.next(context_.scratch.fields);
        if (next == Framer::Next::TooLong) {
            stop("command over " + std::to_string(context_.limits.maxRecordBytes) +
                 " bytes refused");
            return;
        }
        if (next == Framer::Next::None) {
            break;
        }
        tokens_ -= context_.limits.commandsPerSecond > 0 ? 1 : 0;
        handle(context_.scratch.fields);
    }
    draining_ = false;
    if (!open_ || finishing_) {
        return;
    }
    if (framer_.pendingIsWhole()) {
        framer_.takePending(context_.scratch.fields);
        handle(context_.scratch.fields);
        if (!open_ || finishing_) {
            return;
        }
    }
    armQuietTimer();
    if (readFull_ || readable_) {
        // More is waiting: read again once the others had their turn.
        post(&Connection::readInput, "read");
    } else {
        reading_ = false; // the next edge brings us back
    }
}

void Connection::armQuietTimer() {
    if (!framer_.hasPending()) {
        quietDeadline_ = Clock::time_point::max();
        return;
    }
    quietDeadline_ = Clock::now() + (framer_.pendingHasAllFields() ? context_.limits.quiet.complete
                                                                   : context_.limits.quiet.partial);
    context_.owner.onQuietPending(*this);
}

Connection::Clock::time_point Connection::quietTick(Clock::time_point now) {
    // While the connection drains, the pending command is not the next one;
    // the drain sets a new deadline when it is done.
    if (open_ && !finishing_ && !draining_ && quietDeadline_ <= now && framer_.hasPending()) {
        quietDeadline_ = Clock::time_point::max();
        framer_.takePending(context_.scratch.fields);
        handle(context_.scratch.fields);
    }
    return quietDeadline_;
}

void Connection::writeOut() {
    if (const std::size_t wanted = unsent(); wanted > 0) {
        const char* from = out_->bytes.data() + out_->sent;
        ssize_t n = tls_ ? tlsWrite(from, wanted) : ::send(fd_, from, wanted, MSG_NOSIGNAL);
        if (n < 0 && errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            stop("write failed: " + failureText());
            return;
        }
        n = std::max<ssize_t>(n, 0);
        context_.metrics.bytesSent.add(static_cast<std::uint64_t>(n));
        out_->sent += static_cast<std::size_t>(n);
        written_ += static_cast<std::uint64_t>(n);
        if (static_cast<std::size_t>(n) < wanted) {
            // The socket is full: the rest goes on the edge that says it has room.
            if (out_->sent > out_->bytes.size() / 2) {
                out_->bytes.erase(0, out_->sent);
                out_->sent = 0;
            }
            writing_ = true;
            return;
        }
    }
    if (out_) {
        out_->bytes.clear();
        out_->sent = 0;
        if (out_->bytes.capacity() > kKeepCapacity) {
            out_.reset();
        }
    }
    auto* offline = rare_ ? &rare_->offline : nullptr;
    bool pagesWritten = false;
    for (std::size_t i = 0; offline && i < offline->size(); ++i) {
        auto& mark = (*offline)[i];
        if (!mark.written && mark.end <= written_) {
            mark.written = true;
            if (tls_) {
                mark.end = tls_->wireWritten();
            }
            pagesWritten = true;
        }
    }
    if (pagesWritten) {
        // A page whose messages wait for the client's own confirmation
        // waits for nothing more here.
        std::erase_if(*offline, [](const OfflineMark& mark) {
            return mark.written && mark.offlineIds.empty();
        });
        checkAcknowledged();
        if (hasOffline()) {
            context_.owner.onAwaitingAcknowledgement(*this);
        }
        if (open_) {
            context_.owner.onOfflineWritten(id_);
        }
    }
    if (finishing_ && open_ && unsent() == 0) {
        stop(std::string(rare_->finishReason));
    }
}

} // namespace velmora::server::net
