#include "net/service_notify.h"

#include <systemd/sd-daemon.h>

#include <chrono>
#include <ctime>

namespace velmora::server::net {

ServiceNotifier::ServiceNotifier(asio::io_context& io) : watchdog_(io) {
    std::uint64_t usec = 0;
    // Half the interval systemd expects, as sd_watchdog_enabled(3) advises.
    if (sd_watchdog_enabled(0, &usec) > 0 && usec > 0) {
        interval_ = std::chrono::microseconds(usec / 2);
    }
}

void ServiceNotifier::ready() {
    sd_notify(0, "READY=1");
    if (interval_ != asio::steady_timer::duration{} && !stopped_) {
        watchdog_.cancel();
        feed();
    }
}

void ServiceNotifier::reloading() {
    // systemd matches MONOTONIC_USEC against its own CLOCK_MONOTONIC.
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto usec = static_cast<unsigned long long>(now.tv_sec) * 1000000ULL +
                      static_cast<unsigned long long>(now.tv_nsec) / 1000ULL;
    sd_notifyf(0, "RELOADING=1\nMONOTONIC_USEC=%llu", usec);
}

void ServiceNotifier::stopping() {
    stopped_ = true;
    watchdog_.cancel();
    sd_notify(0, "STOPPING=1");
}

void ServiceNotifier::feed() {
    sd_notify(0, "WATCHDOG=1");
    watchdog_.expires_after(interval_);
    watchdog_.async_wait([this](const asio::error_code& ec) {
        if (!ec && !stopped_) {
            feed();
        }
    });
}

} // namespace velmora::server::net
