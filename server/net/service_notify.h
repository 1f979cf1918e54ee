// Tells systemd (a Type=notify service) where the server stands: ready,
// reloading, stopping; and feeds its watchdog from the network thread's own
// timer, so that a loop that is stuck stops feeding it. Without
// $NOTIFY_SOCKET every call does nothing.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>

namespace velmora::server::net {

class ServiceNotifier {
public:
    explicit ServiceNotifier(asio::io_context& io);

    void ready();
    // Before a reload; ready() again once it is over.
    void reloading();
    // Also stops feeding the watchdog.
    void stopping();

private:
    void feed();

    asio::steady_timer watchdog_;
    asio::steady_timer::duration interval_{};
    bool stopped_ = false;
};

} // namespace velmora::server::net
