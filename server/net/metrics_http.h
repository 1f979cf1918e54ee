// The metrics listener: GET /metrics in OpenMetrics text, on an address of
// its own, served by cpp-httplib on threads of its own. It is as guarded as
// the chat port: a request head of at most a few kilobytes, one deadline
// for reading the request and one for writing the answer, a few
// connections at a time, and nothing but GET /metrics.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace velmora::server::net {

struct MetricsLimits {
    std::size_t maxRequestBytes = 4096;
    int readTimeoutSeconds = 5;
    int writeTimeoutSeconds = 5;
    // Connections served at once; further ones wait in a queue of as many,
    // and past that they are closed at once.
    std::size_t threads = 2;
    std::size_t queued = 8;
};

class MetricsEndpoint {
public:
    // What the body is, computed on the endpoint's thread.
    using Render = std::function<std::string()>;
    // One line per refusal; called on the endpoint's threads.
    using Report = std::function<void(std::string)>;

    // Binds `host:port` (port 0 picks a free one) and starts serving.
    // Throws std::runtime_error when the address cannot be bound.
    MetricsEndpoint(const std::string& host, unsigned short port, Render render, Report report,
                    MetricsLimits limits = {});
    ~MetricsEndpoint();
    MetricsEndpoint(const MetricsEndpoint&) = delete;
    MetricsEndpoint& operator=(const MetricsEndpoint&) = delete;

    [[nodiscard]] unsigned short port() const { return port_; }

    class Impl;

private:
    std::unique_ptr<Impl> impl_;
    unsigned short port_ = 0;
    std::thread thread_;
};

// "HOST:PORT", or a bare "PORT" on 127.0.0.1; false when it is neither.
[[nodiscard]] bool parseMetricsAddress(const std::string& text, std::string& host,
                                       unsigned short& port);

} // namespace velmora::server::net
