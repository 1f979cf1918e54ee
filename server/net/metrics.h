// The server's figures for an operator's monitoring. The network thread is
// the only writer: a counter is a relaxed atomic that it loads and stores
// (a plain add, no locked instruction), so counting costs the relay nothing.
// The metrics endpoint's thread only reads; gauges that need the network
// thread's own books are published by it once a second.
#pragma once

#include "core/log.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace velmora::server::net {

class Counter {
public:
    void add(std::uint64_t n = 1) {
        value_.store(value_.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
    }
    void set(std::uint64_t n) { value_.store(n, std::memory_order_relaxed); }
    [[nodiscard]] std::uint64_t get() const { return value_.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> value_{0};
};

struct Metrics {
    // Gauges, published once a second.
    Counter connections;
    Counter sessions;
    Counter passwordQueue;
    Counter fileTransfersActive;
    // Counters.
    Counter loginsOk;
    Counter loginsRefused;
    Counter loginsLimited;
    Counter messagesRelayed;
    Counter offlineStored;
    Counter offlineDelivered;
    Counter bytesReceived;
    Counter bytesSent;
    Counter busPublished;
    Counter busReceived;
    Counter storeCommits;
    Counter storeCommitMicroseconds;
    Counter fileBytes;
    // Sessions as the log tells them: logins minus logouts.
    std::int64_t openSessions = 0;
};

// Counts logins and sessions from the log's events, where every outcome
// of a login is already told in one place.
class LoginCounter final : public core::LogListener {
public:
    explicit LoginCounter(Metrics& metrics) : metrics_(metrics) {}
    void logged(const core::LogFields& fields) override;

private:
    Metrics& metrics_;
};

// The OpenMetrics text exposition of `m`, ending with "# EOF". The bus's
// figures are left out on a single server.
[[nodiscard]] std::string renderOpenMetrics(const Metrics& m, bool bus);

// The content type of that text.
inline constexpr const char* kOpenMetricsType =
    "application/openmetrics-text; version=1.0.0; charset=utf-8";

} // namespace velmora::server::net
