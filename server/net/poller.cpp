#include "net/poller.h"

#include <unistd.h>

#include <system_error>

namespace velmora::server::net {

namespace {
int newSet() {
    const int fd = ::epoll_create1(EPOLL_CLOEXEC);
    if (fd < 0) {
        throw std::system_error(errno, std::system_category(), "epoll_create1");
    }
    return fd;
}
} // namespace

Poller::Poller(asio::io_context& io, Ready ready) : set_(io, newSet()), ready_(std::move(ready)) {}

void Poller::add(int fd, core::ConnId id) {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
    // The id, not a pointer: a connection closed by an earlier event of the
    // same batch is simply not found.
    event.data.u64 = id;
    if (::epoll_ctl(set_.native_handle(), EPOLL_CTL_ADD, fd, &event) != 0) {
        throw std::system_error(errno, std::system_category(), "epoll_ctl");
    }
}

void Poller::remove(int fd) {
    epoll_event ignored{};
    ::epoll_ctl(set_.native_handle(), EPOLL_CTL_DEL, fd, &ignored);
}

void Poller::start() {
    wait();
}

void Poller::stop() {
    asio::error_code ignored;
    set_.cancel(ignored);
}

void Poller::wait() {
    set_.async_wait(asio::posix::stream_descriptor::wait_read, [this](const asio::error_code& ec) {
        if (ec) {
            return; // stopped
        }
        const int n =
            ::epoll_wait(set_.native_handle(), events_.data(), static_cast<int>(events_.size()), 0);
        for (int i = 0; i < n; ++i) {
            ready_(events_[static_cast<std::size_t>(i)].data.u64,
                   events_[static_cast<std::size_t>(i)].events);
        }
        // More than one batch waiting leaves the set readable: the wait
        // below ends at once.
        wait();
    });
}

} // namespace velmora::server::net
