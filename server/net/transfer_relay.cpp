#include "net/transfer_relay.h"

#include "net/transfer_link.h"
#include "protocol/transfer.h"
#include "protocol/wire.h"

#include <fcntl.h>
#include <sys/epoll.h>

#include <cerrno>
#include <cmath>
#include <cstring>

namespace velmora::server::net {

namespace p = protocol;
namespace reason = protocol::transfer::reason;

namespace {
constexpr auto kSweepEvery = std::chrono::seconds(1);
// A sender held back by the rate waits for at least this much.
constexpr std::uint64_t kLeastGrant = 64 * 1024;

std::string seconds(TransferRelay::Clock::duration d) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", std::chrono::duration<double>(d).count());
    return text;
}
} // namespace

std::string TransferRelay::End::failure() const {
    return tls ? tls->failure() : std::string(std::strerror(errno));
}

bool TransferRelay::End::flushOut() {
    while (!out.empty() && canWrite) {
        const ssize_t n = write(out.data(), out.size());
        if (n > 0) {
            out.erase(0, static_cast<std::size_t>(n));
        } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            canWrite = false;
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            return false;
        }
    }
    return true;
}

TransferRelay::TransferRelay(asio::io_context& io, core::Log& log, TransferLimits limits,
                             Ended ended)
    : io_(io), log_(log), limits_(limits), ended_(std::move(ended)), sweep_(io) {}

TransferRelay::~TransferRelay() = default;

void TransferRelay::adopt(const core::DataHello& hello, int fd, std::unique_ptr<TlsStream> tls,
                          std::string address, bool early) {
    auto end = std::make_unique<End>();
    end->id = hello.conn;
    end->fd = fd;
    end->tls = std::move(tls);
    end->address = std::move(address);
    if (!hello.refusal.empty()) {
        refuse(*end, hello.refusal);
        return;
    }
    if (stopped_) {
        closed_.emplace_back(hello.conn, false);
        report();
        return;
    }
    if (links_.empty()) {
        sweep();
    }
    auto& slot = links_[hello.token];
    if (!slot) {
        slot = std::make_unique<Link>();
        slot->token = hello.token;
        slot->sender = hello.senderName;
        slot->recipient = hello.recipientName;
        slot->size = hello.size;
    }
    Link& link = *slot;
    link.progress = Clock::now();
    if (!hello.sender) {
        link.offset = hello.offset;
    }
    byConn_[end->id] = &link;
    (hello.sender ? link.s : link.r) = std::move(end);
    if (early) {
        close(link, std::string(reason::kInvalid), false);
    } else if (link.s && link.r) {
        go(link);
    } else {
        pump(link);
    }
    report();
}

void TransferRelay::refuse(End& end, const std::string& why) {
    // One small record on a fresh socket: it goes out at once, or not at all.
    end.out = p::buildReply(p::reply::FX, {p::transfer::kNo, why});
    (void)end.flushOut();
}

bool TransferRelay::ready(core::ConnId id, std::uint32_t events) {
    const auto it = byConn_.find(id);
    if (it == byConn_.end()) {
        return false;
    }
    Link& link = *it->second;
    End& end = link.s && link.s->id == id ? *link.s : *link.r;
    if (events & (EPOLLIN | EPOLLRDHUP | EPOLLERR | EPOLLHUP)) {
        end.canRead = true;
    }
    if (events & (EPOLLOUT | EPOLLERR | EPOLLHUP)) {
        end.canWrite = true;
        if (end.tls && end.tls->readWantsRoom()) {
            end.canRead = true;
        }
    }
    pump(link);
    report();
    return true;
}

void TransferRelay::go(Link& link) {
    link.going = true;
    link.started = link.progress = Clock::now();
    link.toReceiver = link.size - link.offset + p::transfer::kDigestHexChars;
    const std::string record =
        p::buildReply(p::reply::FX, {p::transfer::kGo, std::to_string(link.offset)});
    link.s->out = record;
    link.r->out = record;
    if (!link.s->tls && !link.r->tls) {
        int fds[2];
        if (::pipe2(fds, O_NONBLOCK | O_CLOEXEC) == 0) {
            link.pipe[0] = fds[0];
            link.pipe[1] = fds[1];
            // Larger than the default 64 KiB: fewer, larger splices. The
            // system's cap (pipe-max-size) may keep it smaller.
            (void)::fcntl(fds[1], F_SETPIPE_SZ, static_cast<int>(limits_.pipeBytes));
            const int room = ::fcntl(fds[1], F_GETPIPE_SZ);
            link.pipeRoom = room > 0 ? static_cast<std::size_t>(room) : 65536;
        }
    }
    if (link.pipe[0] < 0) {
        link.buffer = std::make_unique<char[]>(limits_.bufferBytes);
    }
    log_.line("file transfer " + link.sender + " to " + link.recipient + " from byte " +
              std::to_string(link.offset) + " of " + std::to_string(link.size) + " started");
    pump(link);
}

void TransferRelay::end(const std::string& token, const std::string& why) {
    if (const auto it = links_.find(token); it != links_.end()) {
        close(*it->second, why, false);
    }
    report();
}

void TransferRelay::close(Link& link, const std::string& why, bool done) {
    const auto now = Clock::now();
    if (done) {
        log_.line("file transfer " + link.sender + " to " + link.recipient + " done: " +
                  std::to_string(link.passed) + " bytes in " + seconds(now - link.started) + " s");
    } else if (link.going) {
        log_.line("file transfer " + link.sender + " to " + link.recipient + " stopped after " +
                  std::to_string(link.passed) + " bytes (" + why + ")");
    } else {
        log_.line("file transfer " + link.sender + " to " + link.recipient +
                  ": data connection closed (" + why + ")");
    }
    for (auto* end : {link.s.get(), link.r.get()}) {
        if (!end) {
            continue;
        }
        if (!link.going) {
            refuse(*end, why);
        }
        byConn_.erase(end->id);
        closed_.emplace_back(end->id, done);
    }
    if (link.tokenWait) {
        link.tokenWait->cancel();
    }
    links_.erase(link.token); // `link` is gone from here on
}

void TransferRelay::stop() {
    stopped_ = true;
    sweep_.cancel();
    while (!links_.empty()) {
        close(*links_.begin()->second, "server shutting down", false);
    }
    closed_.clear(); // the hub is going away with the sessions
}

void TransferRelay::report() {
    while (!closed_.empty()) {
        auto ended = std::move(closed_);
        closed_.clear();
        for (const auto& [id, done] : ended) {
            ended_(id, done);
        }
    }
}

std::uint64_t TransferRelay::allowance(Link& link) {
    if (limits_.bytesPerSecond == 0) {
        return UINT64_MAX;
    }
    const double rate = static_cast<double>(limits_.bytesPerSecond);
    const auto now = Clock::now();
    auto [it, fresh] = buckets_.try_emplace(link.sender, Bucket{rate, now});
    Bucket& bucket = it->second;
    if (!fresh) {
        const double since = std::chrono::duration<double>(now - bucket.at).count();
        bucket.tokens = std::min(rate, bucket.tokens + since * rate);
        bucket.at = now;
    }
    return static_cast<std::uint64_t>(std::max(0.0, std::floor(bucket.tokens)));
}

void TransferRelay::spend(Link& link, std::uint64_t bytes) {
    bytesPassed_ += bytes;
    if (limits_.bytesPerSecond != 0) {
        buckets_[link.sender].tokens -= static_cast<double>(bytes);
    }
}

void TransferRelay::waitForTokens(Link& link) {
    if (!link.tokenWait) {
        link.tokenWait = std::make_unique<asio::steady_timer>(io_);
    } else if (link.tokenWait->expiry() > Clock::now()) {
        return; // already waiting
    }
    const double rate = static_cast<double>(limits_.bytesPerSecond);
    const double want = static_cast<double>(std::min(
        {link.toReceiver, kLeastGrant, std::max<std::uint64_t>(1, limits_.bytesPerSecond)}));
    const double missing = std::max(0.0, want - buckets_[link.sender].tokens);
    link.tokenWait->expires_after(
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(missing / rate)));
    link.tokenWait->async_wait([this, token = link.token](const asio::error_code& ec) {
        if (ec) {
            return;
        }
        if (const auto it = links_.find(token); it != links_.end()) {
            pump(*it->second);
            report();
        }
    });
}

void TransferRelay::sweep() {
    sweep_.expires_after(kSweepEvery);
    sweep_.async_wait([this](const asio::error_code& ec) {
        if (ec || stopped_) {
            return;
        }
        const auto cutoff = Clock::now() - limits_.idle;
        std::vector<std::string> idle;
        for (const auto& [token, link] : links_) {
            if (link->progress < cutoff) {
                idle.push_back(token);
            }
        }
        for (const auto& token : idle) {
            if (const auto it = links_.find(token); it != links_.end()) {
                close(*it->second, std::string(reason::kIdle), false);
            }
        }
        // Buckets of senders with nothing going are full again anyway.
        std::erase_if(buckets_, [&](const auto& entry) {
            return Clock::now() - entry.second.at > std::chrono::seconds(2);
        });
        report();
        if (!links_.empty()) {
            sweep();
        }
    });
}

} // namespace velmora::server::net
