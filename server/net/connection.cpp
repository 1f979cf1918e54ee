#include "net/connection.h"

#include <asio/co_spawn.hpp>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>

#include <linux/sockios.h>
#include <sys/ioctl.h>

#include <algorithm>

namespace velmora::server::net {

namespace {
// Commands handled in a row before the reader lets other connections run.
constexpr int kCommandsPerTurn = 16;
// Past this, an output buffer emptied after a burst gives its memory back;
// past the smaller one, when the connection goes idle.
constexpr std::size_t kKeepCapacity = 64 * 1024;
constexpr std::size_t kIdleCapacity = 1024;
// How often unacknowledged offline messages are looked at again.
constexpr auto kAckPoll = std::chrono::milliseconds(20);

std::string prefix(core::ConnId id, const std::string& address) {
    return "#" + std::to_string(id) + " " + address;
}
} // namespace

Connection::Connection(asio::ip::tcp::socket socket, core::ConnId id, std::string address,
                       const ConnectionLimits& limits, ConnectionOwner& owner, core::Log& log,
                       std::span<char> scratch)
    : socket_(std::move(socket)), id_(id), address_(std::move(address)), limits_(limits),
      owner_(owner), log_(log), scratch_(scratch), framer_(limits.maxRecordBytes),
      wake_(socket_.get_executor()), tokens_(limits.commandBurst), refilled_(Clock::now()) {
    wake_.expires_at(asio::steady_timer::time_point::max());
}

void Connection::start() {
    log_.line(prefix(id_, address_) + " connected");
    asio::error_code ignored;
    socket_.non_blocking(true, ignored);
    awaitInput();
}

void Connection::spawn(asio::awaitable<void> work, const char* what) {
    asio::co_spawn(socket_.get_executor(), std::move(work),
                   [self = shared_from_this(), what](std::exception_ptr error) {
                       if (!error) {
                           return;
                       }
                       try {
                           std::rethrow_exception(error);
                       } catch (const std::exception& e) {
                           self->stop(std::string(what) + ": " + e.what());
                       }
                   });
}

void Connection::deliver(std::string bytes, std::vector<std::int64_t> offlineIds) {
    if (!open_) {
        return;
    }
    if (queued_.size() + sending_.size() + bytes.size() > limits_.maxPendingBytes) {
        stop("output over " + std::to_string(limits_.maxPendingBytes) +
             " bytes: peer not reading, dropped");
        return;
    }
    queued_ += bytes;
    queuedTotal_ += bytes.size();
    if (!offlineIds.empty()) {
        offline_.push_back({queuedTotal_, std::move(offlineIds), false});
    }
    // The writer runs only while there is output: an idle connection holds
    // nothing for it.
    if (!writing_) {
        writing_ = true;
        spawn(writer(), "write");
    } else {
        wake_.cancel_one();
    }
}

void Connection::stop(const std::string& reason) {
    if (!open_) {
        return;
    }
    // Whatever the peer acknowledged before the end counts as delivered.
    checkAcknowledged();
    open_ = false;
    log_.line(prefix(id_, address_) + " closed (" + reason + ")");
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    wake_.cancel();
    quietDeadline_ = Clock::time_point::max();
    queued_.clear();
    offline_.clear();
    owner_.onClosed(id_);
}

void Connection::finish() {
    if (!open_ || finishing_) {
        return;
    }
    finishing_ = true;
    asio::error_code ignored;
    // Wakes the reader with an end of input; a write under way goes on.
    socket_.shutdown(asio::ip::tcp::socket::shutdown_receive, ignored);
    quietDeadline_ = Clock::time_point::max();
    if (!writing_) {
        stop("server shutting down");
    }
}

void Connection::handle(const protocol::Fields& command) {
    if (open_ && !finishing_) {
        owner_.onCommand(id_, command);
    }
}

void Connection::checkAcknowledged() {
    if (offline_.empty() || !offline_.front().written) {
        return;
    }
    int unacknowledged = 0;
    if (::ioctl(socket_.native_handle(), SIOCOUTQ, &unacknowledged) != 0 || unacknowledged < 0) {
        return;
    }
    const std::uint64_t acknowledged = written_ - static_cast<std::uint64_t>(unacknowledged);
    std::vector<std::int64_t> ids;
    std::size_t done = 0;
    while (done < offline_.size() && offline_[done].written && offline_[done].end <= acknowledged) {
        ids.insert(ids.end(), offline_[done].offlineIds.begin(), offline_[done].offlineIds.end());
        ++done;
    }
    offline_.erase(offline_.begin(), offline_.begin() + static_cast<std::ptrdiff_t>(done));
    if (!ids.empty()) {
        owner_.onAcknowledged(ids);
    }
}

Connection::Clock::duration Connection::takeToken() {
    if (limits_.commandsPerSecond <= 0) {
        return {};
    }
    const auto now = Clock::now();
    const std::chrono::duration<double> since = now - refilled_;
    refilled_ = now;
    tokens_ = std::min(limits_.commandBurst, tokens_ + since.count() * limits_.commandsPerSecond);
    tokens_ -= 1;
    if (tokens_ >= 0) {
        return {};
    }
    // In debt: the wait until the token taken is earned back.
    const std::chrono::duration<double> wait(-tokens_ / limits_.commandsPerSecond);
    return std::chrono::duration_cast<Clock::duration>(wait);
}

// Handles every command the buffer completes; false when the connection ended.
asio::awaitable<bool> Connection::drain() {
    draining_ = true;
    protocol::Fields command;
    int inTurn = 0;
    for (;;) {
        const auto next = framer_.next(command);
        if (next == Framer::Next::TooLong) {
            stop("command over " + std::to_string(limits_.maxRecordBytes) + " bytes refused");
            break;
        }
        if (next == Framer::Next::None) {
            break;
        }
        if (const auto wait = takeToken(); wait > Clock::duration::zero()) {
            // Back-pressure: nothing more is read from this peer until then.
            asio::steady_timer pause(socket_.get_executor(), wait);
            asio::error_code ec;
            co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ec));
        }
        handle(command);
        if (!open_ || finishing_) {
            break;
        }
        if (++inTurn == kCommandsPerTurn) {
            inTurn = 0;
            co_await asio::post(socket_.get_executor(), asio::use_awaitable);
        }
    }
    draining_ = false;
    co_return open_ && !finishing_;
}

void Connection::armQuietTimer() {
    if (!framer_.hasPending()) {
        quietDeadline_ = Clock::time_point::max();
        return;
    }
    quietDeadline_ = Clock::now() + (framer_.pendingHasAllFields() ? limits_.quiet.complete
                                                                   : limits_.quiet.partial);
    owner_.onQuietPending(*this);
}

Connection::Clock::time_point Connection::quietTick(Clock::time_point now) {
    // While the reader drains, the pending command is not the next one; the
    // reader sets a new deadline when it is done.
    if (open_ && !finishing_ && !draining_ && quietDeadline_ <= now && framer_.hasPending()) {
        quietDeadline_ = Clock::time_point::max();
        handle(framer_.takePending());
    }
    return quietDeadline_;
}

void Connection::awaitInput() {
    // A plain wait, not a coroutine: an idle connection holds nothing more.
    socket_.async_wait(asio::ip::tcp::socket::wait_read,
                       [self = shared_from_this()](const asio::error_code& ec) {
                           if (!self->open_ || self->finishing_) {
                               return;
                           }
                           if (ec) {
                               self->stop(ec.message());
                               return;
                           }
                           self->spawn(self->reader(), "read");
                       });
}

// Reads and handles everything the socket holds, then goes back to waiting.
asio::awaitable<void> Connection::reader() {
    while (open_ && !finishing_) {
        asio::error_code ec;
        const std::size_t n = socket_.read_some(asio::buffer(scratch_.data(), scratch_.size()), ec);
        if (ec == asio::error::would_block || ec == asio::error::try_again) {
            awaitInput();
            co_return;
        }
        if (ec) {
            stop(ec == asio::error::eof ? std::string("peer closed") : ec.message());
            co_return;
        }
        // The loop's buffer is copied into the framer before anything yields.
        framer_.feed(std::string_view(scratch_.data(), n));
        if (!co_await drain()) {
            co_return;
        }
        armQuietTimer();
        // Other connections, this one's writer among them, go before the next read.
        co_await asio::post(socket_.get_executor(), asio::use_awaitable);
    }
}

asio::awaitable<void> Connection::writer() {
    while (open_) {
        if (queued_.empty()) {
            if (finishing_) {
                writing_ = false;
                stop("server shutting down");
                co_return;
            }
            if (offline_.empty()) {
                // Going idle: a buffer grown by a burst is given back.
                for (std::string* buffer : {&queued_, &sending_}) {
                    if (buffer->capacity() > kIdleCapacity) {
                        std::string().swap(*buffer);
                    }
                }
                writing_ = false;
                co_return;
            }
            // Offline messages wait for the peer's acknowledgement.
            wake_.expires_after(kAckPoll);
            asio::error_code ec;
            co_await wake_.async_wait(asio::redirect_error(asio::use_awaitable, ec));
            checkAcknowledged();
            continue;
        }
        sending_.swap(queued_);
        asio::error_code ec;
        co_await asio::async_write(socket_, asio::buffer(sending_),
                                   asio::redirect_error(asio::use_awaitable, ec));
        if (ec) {
            stop("write failed: " + ec.message());
            co_return;
        }
        written_ += sending_.size();
        sending_.clear();
        if (sending_.capacity() > kKeepCapacity) {
            std::string().swap(sending_); // a large burst does not stay allocated
        }
        bool pagesWritten = false;
        for (auto& mark : offline_) {
            if (!mark.written && mark.end <= written_) {
                mark.written = true;
                pagesWritten = true;
            }
        }
        checkAcknowledged();
        if (pagesWritten && open_) {
            owner_.onOfflineWritten(id_);
        }
    }
}

} // namespace velmora::server::net
