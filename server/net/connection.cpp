#include "net/connection.h"

#include <asio/co_spawn.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>

namespace velmora::server::net {

namespace {
std::string prefix(core::ConnId id, const std::string& address) {
    return "#" + std::to_string(id) + " " + address;
}
} // namespace

Connection::Connection(asio::ip::tcp::socket socket, core::ConnId id, std::string address,
                       const ConnectionLimits& limits, ConnectionOwner& owner, core::Log& log)
    : socket_(std::move(socket)), id_(id), address_(std::move(address)), limits_(limits),
      owner_(owner), log_(log), framer_(limits.maxRecordBytes, limits.quiet),
      wake_(socket_.get_executor()), quiet_(socket_.get_executor()) {
    wake_.expires_at(asio::steady_timer::time_point::max());
    quiet_.expires_at(asio::steady_timer::time_point::max());
}

void Connection::start() {
    log_.line(prefix(id_, address_) + " connected");
    const auto self = shared_from_this();
    const auto onEnd = [self](const char* who) {
        return [self, who](std::exception_ptr error) {
            if (!error) {
                return;
            }
            try {
                std::rethrow_exception(error);
            } catch (const std::exception& e) {
                self->stop(std::string(who) + ": " + e.what());
            }
        };
    };
    asio::co_spawn(socket_.get_executor(), reader(), onEnd("read"));
    asio::co_spawn(socket_.get_executor(), writer(), onEnd("write"));
    asio::co_spawn(socket_.get_executor(), quietWatcher(), onEnd("frame"));
}

void Connection::deliver(std::string bytes, std::vector<std::int64_t> offlineIds) {
    if (!open_) {
        return;
    }
    pendingBytes_ += bytes.size();
    if (pendingBytes_ > limits_.maxPendingBytes) {
        stop("output over " + std::to_string(limits_.maxPendingBytes) +
             " bytes: peer not reading, dropped");
        return;
    }
    queue_.push_back({std::move(bytes), std::move(offlineIds)});
    wake_.cancel_one();
}

void Connection::stop(const std::string& reason) {
    if (!open_) {
        return;
    }
    open_ = false;
    log_.line(prefix(id_, address_) + " closed (" + reason + ")");
    asio::error_code ignored;
    socket_.shutdown(asio::ip::tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    wake_.cancel();
    quiet_.cancel();
    queue_.clear();
    owner_.onClosed(id_);
}

void Connection::handle(const protocol::Fields& command) {
    if (open_) {
        owner_.onCommand(id_, command);
    }
}

asio::awaitable<void> Connection::reader() {
    char chunk[8192];
    while (open_) {
        asio::error_code ec;
        const std::size_t n = co_await socket_.async_read_some(
            asio::buffer(chunk), asio::redirect_error(asio::use_awaitable, ec));
        if (ec) {
            stop(ec == asio::error::eof ? std::string("peer closed") : ec.message());
            co_return;
        }
        bool ok = true;
        for (const auto& command : framer_.feed(std::string_view(chunk, n), ok)) {
            handle(command);
        }
        if (!ok) {
            stop("command over " + std::to_string(limits_.maxRecordBytes) + " bytes refused");
            co_return;
        }
        if (framer_.hasPending()) {
            quiet_.expires_after(framer_.quietFor());
        } else {
            quiet_.expires_at(asio::steady_timer::time_point::max());
        }
    }
}

asio::awaitable<void> Connection::quietWatcher() {
    while (open_) {
        asio::error_code ec;
        co_await quiet_.async_wait(asio::redirect_error(asio::use_awaitable, ec));
        if (open_ && framer_.hasPending() &&
            quiet_.expiry() <= asio::steady_timer::clock_type::now()) {
            quiet_.expires_at(asio::steady_timer::time_point::max());
            handle(framer_.takePending());
        }
    }
}

asio::awaitable<void> Connection::writer() {
    while (open_) {
        if (queue_.empty()) {
            asio::error_code ec;
            co_await wake_.async_wait(asio::redirect_error(asio::use_awaitable, ec));
            continue;
        }
        std::string out;
        std::vector<std::int64_t> offlineIds;
        while (!queue_.empty()) {
            out += queue_.front().bytes;
            offlineIds.insert(offlineIds.end(), queue_.front().offlineIds.begin(),
                              queue_.front().offlineIds.end());
            queue_.pop_front();
        }
        asio::error_code ec;
        co_await asio::async_write(socket_, asio::buffer(out),
                                   asio::redirect_error(asio::use_awaitable, ec));
        if (ec) {
            stop("write failed: " + ec.message());
            co_return;
        }
        pendingBytes_ -= out.size();
        if (!offlineIds.empty()) {
            owner_.onWritten(offlineIds);
        }
    }
}

} // namespace velmora::server::net
