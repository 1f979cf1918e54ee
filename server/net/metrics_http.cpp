#include "net/metrics_http.h"

#include "net/metrics.h"

#include <httplib.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace velmora::server::net {

namespace {

using Clock = std::chrono::steady_clock;

// Milliseconds left until `deadline`, for poll().
int msUntil(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return static_cast<int>(std::max<long long>(left, 0));
}

std::string describe(const sockaddr_storage& address) {
    char text[INET6_ADDRSTRLEN] = "?";
    unsigned short port = 0;
    if (address.ss_family == AF_INET) {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
        port = ntohs(v4.sin_port);
    } else if (address.ss_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
        inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
        port = ntohs(v6.sin6_port);
    }
    return std::string(text) + ":" + std::to_string(port);
}

std::string peerOf(int fd) {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    return getpeername(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? describe(address)
                                                                              : "?";
}

// The socket as httplib reads and writes it, with the whole request held
// to a size and a deadline (a peer that trickles its headers gets no more
// time than one that sends nothing), and the answer to a deadline of its own.
class GuardedStream final : public httplib::Stream {
public:
    GuardedStream(int fd, const MetricsLimits& limits)
        : fd_(fd), limits_(limits),
          readBy_(Clock::now() + std::chrono::seconds(limits.readTimeoutSeconds)) {}

    bool is_readable() const override { return true; }
    bool is_writable() const override {
        pollfd p{fd_, POLLOUT, 0};
        return poll(&p, 1, 0) > 0;
    }

    ssize_t read(char* ptr, size_t size) override {
        if (at_ == buffer_.size()) {
            if (taken_ >= limits_.maxRequestBytes) {
                why_ = "request over " + std::to_string(limits_.maxRequestBytes) + " bytes";
                return -1;
            }
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, msUntil(readBy_)) <= 0) {
                why_ = "request not complete within " + std::to_string(limits_.readTimeoutSeconds) +
                       " s";
                return -1;
            }
            buffer_.resize(std::min<std::size_t>(2048, limits_.maxRequestBytes - taken_));
            const ssize_t n = ::recv(fd_, buffer_.data(), buffer_.size(), 0);
            if (n <= 0) {
                why_ = "peer closed";
                return n;
            }
            buffer_.resize(static_cast<std::size_t>(n));
            at_ = 0;
            if (taken_ == 0) {
                firstLine_.assign(buffer_.data(), std::min<std::size_t>(buffer_.size(), 80));
                firstLine_ = firstLine_.substr(0, firstLine_.find_first_of("\r\n"));
            }
            taken_ += static_cast<std::size_t>(n);
        }
        const std::size_t count = std::min(size, buffer_.size() - at_);
        std::copy_n(buffer_.data() + at_, count, ptr);
        at_ += count;
        return static_cast<ssize_t>(count);
    }

    ssize_t write(const char* ptr, size_t size) override {
        if (!writing_) {
            writing_ = true;
            writeBy_ = Clock::now() + std::chrono::seconds(limits_.writeTimeoutSeconds);
            // "HTTP/1.1 200 OK": the answer's status, for the refusal line.
            const std::string_view head(ptr, std::min<std::size_t>(size, 12));
            if (head.size() == 12) {
                std::from_chars(head.data() + 9, head.data() + 12, status_);
            }
        }
        std::size_t sent = 0;
        while (sent < size) {
            pollfd p{fd_, POLLOUT, 0};
            if (poll(&p, 1, msUntil(writeBy_)) <= 0) {
                why_ =
                    "answer not taken within " + std::to_string(limits_.writeTimeoutSeconds) + " s";
                return -1;
            }
            const ssize_t n = ::send(fd_, ptr + sent, size - sent, MSG_NOSIGNAL);
            if (n <= 0) {
                why_ = "peer closed";
                return -1;
            }
            sent += static_cast<std::size_t>(n);
        }
        return static_cast<ssize_t>(size);
    }

    void get_remote_ip_and_port(std::string& ip, int& port) const override {
        const std::string peer = peerOf(fd_);
        const auto colon = peer.rfind(':');
        ip = peer.substr(0, colon);
        port = colon == std::string::npos ? 0 : std::atoi(peer.c_str() + colon + 1);
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override {
        sockaddr_storage address{};
        socklen_t size = sizeof address;
        getsockname(fd_, reinterpret_cast<sockaddr*>(&address), &size);
        const std::string local = describe(address);
        const auto colon = local.rfind(':');
        ip = local.substr(0, colon);
        port = std::atoi(local.c_str() + colon + 1);
    }
    socket_t socket() const override { return fd_; }

    [[nodiscard]] int status() const { return status_; }
    [[nodiscard]] const std::string& why() const { return why_; }
    [[nodiscard]] const std::string& firstLine() const { return firstLine_; }

private:
    int fd_;
    const MetricsLimits& limits_;
    Clock::time_point readBy_;
    Clock::time_point writeBy_;
    std::vector<char> buffer_;
    std::size_t at_ = 0;
    std::size_t taken_ = 0;
    std::string firstLine_;
    std::string why_;
    int status_ = 0;
    bool writing_ = false;
};

// httplib's own pool queues without bound: this one serves `threads`
// connections and holds `queued` more. A connection past that runs on the
// accepting thread, where the server closes it at once.
class BoundedQueue final : public httplib::TaskQueue {
public:
    BoundedQueue(std::size_t threads, std::size_t queued) : queued_(queued) {
        for (std::size_t i = 0; i < std::max<std::size_t>(threads, 1); ++i) {
            workers_.emplace_back([this] { work(); });
        }
    }
    ~BoundedQueue() override { shutdown(); }

    void enqueue(std::function<void()> fn) override {
        {
            const std::lock_guard lock(mutex_);
            if (!stopping_ && jobs_.size() < queued_) {
                jobs_.push_back(std::move(fn));
                ready_.notify_one();
                return;
            }
        }
        fn();
    }

    void shutdown() override {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        ready_.notify_all();
        for (auto& worker : workers_) {
            if (worker.joinable()) {
                worker.join();
            }
        }
    }

private:
    void work() {
        for (;;) {
            std::function<void()> job;
            {
                std::unique_lock lock(mutex_);
                ready_.wait(lock, [this] { return stopping_ || !jobs_.empty(); });
                if (jobs_.empty()) {
                    return;
                }
                job = std::move(jobs_.front());
                jobs_.pop_front();
            }
            job();
        }
    }

    std::size_t queued_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::function<void()>> jobs_;
    std::vector<std::thread> workers_;
    bool stopping_ = false;
};

} // namespace

class MetricsEndpoint::Impl final : public httplib::Server {
public:
    Impl(MetricsLimits limits, Report report) : limits_(limits), report_(std::move(report)) {}

    std::atomic<std::thread::id> acceptor;

private:
    bool process_and_close_socket(socket_t sock) override {
        if (std::this_thread::get_id() == acceptor.load()) {
            report_("metrics " + peerOf(sock) + " refused: " +
                    std::to_string(limits_.threads + limits_.queued) + " connections open");
            ::close(sock);
            return false;
        }
        GuardedStream stream(sock, limits_);
        bool closed = false;
        const bool served = process_request(stream, true, closed, [](httplib::Request&) {});
        if (stream.status() != 200) {
            std::string line = "metrics " + peerOf(sock) + " refused: ";
            if (stream.status() != 0) {
                line += std::to_string(stream.status()) + (stream.why().empty() ? "" : ", ");
            }
            if (!stream.why().empty() || stream.status() == 0) {
                line += stream.why().empty() ? "malformed request" : stream.why();
            }
            report_(stream.firstLine().empty() ? line + " before a request line"
                                               : line + " (" + stream.firstLine() + ")");
        } else if (!served && !stream.why().empty()) {
            report_("metrics " + peerOf(sock) + " answer cut: " + stream.why());
        }
        ::shutdown(sock, SHUT_RDWR);
        ::close(sock);
        return served;
    }

    MetricsLimits limits_;
    Report report_;
};

MetricsEndpoint::MetricsEndpoint(const std::string& host, unsigned short port, Render render,
                                 Report report, MetricsLimits limits)
    : impl_(std::make_unique<Impl>(limits, std::move(report))) {
    impl_->new_task_queue = [limits] { return new BoundedQueue(limits.threads, limits.queued); };
    impl_->set_payload_max_length(limits.maxRequestBytes);
    impl_->set_keep_alive_max_count(1);
    impl_->Get("/metrics",
               [render = std::move(render)](const httplib::Request&, httplib::Response& res) {
                   res.set_content(render(), kOpenMetricsType);
               });
    const int bound = port == 0                         ? impl_->bind_to_any_port(host)
                      : impl_->bind_to_port(host, port) ? port
                                                        : -1;
    if (bound <= 0) {
        throw std::runtime_error("cannot listen for metrics on " + host + ":" +
                                 std::to_string(port));
    }
    port_ = static_cast<unsigned short>(bound);
    thread_ = std::thread([this] {
        impl_->acceptor.store(std::this_thread::get_id());
        impl_->listen_after_bind();
    });
}

MetricsEndpoint::~MetricsEndpoint() {
    impl_->stop();
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool parseMetricsAddress(const std::string& text, std::string& host, unsigned short& port) {
    const auto colon = text.rfind(':');
    const std::string number = colon == std::string::npos ? text : text.substr(colon + 1);
    unsigned value = 0;
    const auto* end = number.data() + number.size();
    const auto [ptr, ec] = std::from_chars(number.data(), end, value);
    if (number.empty() || ec != std::errc() || ptr != end || value > 65535 || colon == 0) {
        return false;
    }
    host = colon == std::string::npos ? "127.0.0.1" : text.substr(0, colon);
    port = static_cast<unsigned short>(value);
    return true;
}

} // namespace velmora::server::net
