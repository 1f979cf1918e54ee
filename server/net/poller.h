// Readiness of every connection's socket from one epoll set of our own:
// edge-triggered, registered once when the connection opens. A connection
// then costs the loop no reactor state and no pending operation, and waiting
// again after a read costs no system call. The set itself is one readiness
// wait in the io_context, so timers and posted work run as before.
#pragma once

#include "core/effects.h"

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>

#include <sys/epoll.h>

#include <array>
#include <cstdint>
#include <functional>

namespace velmora::server::net {

class Poller {
public:
    // Called with a connection's id and its epoll events.
    using Ready = std::function<void(core::ConnId, std::uint32_t)>;

    Poller(asio::io_context& io, Ready ready);
    Poller(const Poller&) = delete;
    Poller& operator=(const Poller&) = delete;

    // Watches `fd` for input, output room and hang-ups. Throws when the
    // kernel refuses (out of memory, or past max_user_watches).
    void add(int fd, core::ConnId id);
    void remove(int fd);
    void start();
    void stop();

private:
    void wait();

    asio::posix::stream_descriptor set_;
    Ready ready_;
    std::array<epoll_event, 256> events_{};
};

} // namespace velmora::server::net
