// Holds N logged-in users on a velmorad of its own and measures, while they
// are held, private-message latency between probe pairs and the login and
// logout of one user whom `watchers` of the held users have as a buddy.
//
// The benchmark holds as many sockets as the server, so its own state per
// connection is one byte, indexed by descriptor; only the probe pairs and
// the popular user keep buffers. Each user connects from an address of its
// own, 127.0.0.2 and up, as clients on the Internet do: the server's count
// of connections per address then holds an entry per user.
#include "million.h"

#include "bulk_accounts.h"
#include "machine_limits.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velmora::bench {

namespace {

namespace fs = std::filesystem;
using i64 = std::int64_t;
constexpr i64 kSecond = 1'000'000'000;
constexpr const char* kPassword = kLoadPassword;
constexpr const char* kPopular = kPopularUser;
constexpr std::string_view kMark = " ## ";
constexpr std::string_view kSep = " /$/ ";
// Probe pairs are the first 2 * kPairs users; the watchers come next.
constexpr int kPairs = 100;

i64 nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::string nameOf(int k) {
    return loadUserName(k);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

// A figure of /proc/meminfo ("Slab:") or /proc/<pid>/status ("VmRSS:"), in kB.
long fieldKb(const std::string& path, std::string_view key) {
    const std::string text = readFile(path);
    const auto at = text.find(key);
    return at == std::string::npos ? 0 : std::atol(text.c_str() + at + key.size());
}

// Memory the kernel holds for TCP sockets: their buffers (sockstat "mem",
// in pages) and every slab cache (sockets, files, epoll items, dentries).
long kernelKb() {
    const std::string sockstat = readFile("/proc/net/sockstat");
    const auto tcp = sockstat.find("TCP:");
    const auto mem = sockstat.find("mem ", tcp);
    const long pages = tcp == std::string::npos || mem == std::string::npos
                           ? 0
                           : std::atol(sockstat.c_str() + mem + 4);
    return pages * (sysconf(_SC_PAGESIZE) / 1024) + fieldKb("/proc/meminfo", "Slab:");
}

double cpuSecondsOf(pid_t pid) {
    const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
    unsigned long user = 0, system = 0;
    std::sscanf(stat.c_str() + stat.rfind(')') + 1,
                " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &system);
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void pin(int cpu, const cpu_set_t& all) {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (cpu >= 0) {
        CPU_SET(cpu, &set);
    }
    sched_setaffinity(0, sizeof set, cpu >= 0 ? &set : &all);
}

// The server under test, with every limit that would stop the load lifted.
class Server {
public:
    Server(const MillionArgs& args, const fs::path& dir, const cpu_set_t& all) {
        const std::string out = (dir / "server.out").string();
        const std::string db = (dir / "load.db").string();
        const std::string conns = std::to_string(args.conns + 1000);
        std::fflush(stdout); // or the child would print it again
        pid_ = fork();
        if (pid_ == 0) {
            pin(args.serverCpu, all);
            std::freopen(out.c_str(), "w", stdout);
            std::freopen("/dev/null", "w", stderr);
            std::vector<std::string> flags = {args.server,
                                              "--listen",
                                              "127.0.0.1:0",
                                              "--db",
                                              db,
                                              "--hash-cost",
                                              "fast",
                                              "--commands-per-second",
                                              "0",
                                              "--max-logins-per-minute",
                                              "0",
                                              "--max-connections-per-address",
                                              conns,
                                              "--max-connections",
                                              conns};
            std::vector<char*> argv;
            for (auto& flag : flags) {
                argv.push_back(flag.data());
            }
            argv.push_back(nullptr);
            execv(args.server.c_str(), argv.data());
            _exit(127);
        }
        for (int tries = 0; tries < 600 && port_ == 0; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            unsigned p = 0;
            // Found anywhere in the output, so that a wrapper (a profiler) may speak first.
            const std::string text = readFile(out);
            const auto at = text.find("listening on ");
            if (at != std::string::npos &&
                std::sscanf(text.c_str() + at, "listening on 127.0.0.1:%u", &p) == 1) {
                port_ = static_cast<unsigned short>(p);
            }
        }
        if (port_ == 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            throw std::runtime_error("server did not start: " + args.server);
        }
    }
    ~Server() {
        kill(pid_, SIGKILL); // a million sessions need no orderly goodbye
        waitpid(pid_, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] unsigned short port() const { return port_; }
    [[nodiscard]] long rssKb() const {
        return fieldKb("/proc/" + std::to_string(pid_) + "/status", "VmRSS:");
    }
    [[nodiscard]] double cpuSeconds() const { return cpuSecondsOf(pid_); }

private:
    pid_t pid_ = -1;
    unsigned short port_ = 0;
};

// A connection with a buffer of its own: a probe end or the popular user.
struct Watched {
    std::string in;
    bool tailDone = false;
    int pair = -1;         // the receiving end of this pair
    bool popular = false;  // the user with many watchers
    bool loggedIn = false; // the popular user's current login was answered
};

struct Pair {
    int sender = -1, receiver = -1; // descriptors
    std::string senderName, receiverName;
    std::uint64_t sent = 0, received = 0;
    i64 due = 0;
};

class Crowd {
public:
    Crowd(const MillionArgs& args, unsigned short port)
        : args_(args), port_(port), ep_(epoll_create1(EPOLL_CLOEXEC)) {}
    ~Crowd() {
        for (std::size_t fd = 0; fd < state_.size(); ++fd) {
            if (state_[fd] != kFree) {
                close(static_cast<int>(fd));
            }
        }
        close(ep_);
    }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    // Logs the next users up to user n-1 in, `burst` at a time; gives up
    // when a minute passes without one more answered.
    double login(int n) {
        const auto start = nowNs();
        auto lastProgress = start, lastReport = start;
        int& opened = opened_;
        int answered = opened;
        while (answered < n && nowNs() - lastProgress < 60 * kSecond) {
            for (; opened < n && opened - answered < args_.burst; ++opened) {
                const int fd = open(opened, true);
                if (fd < 0) {
                    return static_cast<double>(nowNs() - start) / 1e9;
                }
                if (opened < 2 * kPairs) {
                    watch(fd, opened);
                }
            }
            poll(10);
            if (loggedIn_ + failed_ != answered) {
                answered = loggedIn_ + failed_;
                lastProgress = nowNs();
            }
            if (nowNs() - lastReport > 10 * kSecond) {
                lastReport = nowNs();
                std::fprintf(stderr, "  %d logged in, %d failed, %.0f s\n", loggedIn_, failed_,
                             static_cast<double>(lastReport - start) / 1e9);
            }
        }
        return static_cast<double>(nowNs() - start) / 1e9;
    }
    [[nodiscard]] int loggedIn() const { return loggedIn_ - closed_; }
    [[nodiscard]] int failed() const { return failed_; }

    void hold(double seconds) {
        for (const auto end = nowNs() + static_cast<i64>(seconds * 1e9); nowNs() < end;) {
            poll(50);
        }
    }

    // One login and logout of the popular user: when its +LI came, when
    // every watcher had heard +LOn, and when every one had heard +LOff.
    struct Cycle {
        double loginMs = -1, onMs = -1, offMs = -1;
    };
    // Starts a cycle; step() moves it on; true once it is over.
    void startCycle() {
        cycle_ = {};
        cycleStart_ = nowNs();
        onsAtStart_ = ons_;
        offsAtStart_ = offs_;
        popularFd_ = open(-1, false);
        if (popularFd_ >= 0) {
            watched_[popularFd_].popular = true;
        }
    }
    bool stepCycle() {
        const i64 now = nowNs();
        const auto since = [&] { return static_cast<double>(now - cycleStart_) / 1e6; };
        const int expect = std::min(args_.watchers, std::max(0, args_.conns - 2 * kPairs));
        if (popularFd_ < 0) {
            return true;
        }
        if (cycle_.loginMs < 0) {
            if (watched_[popularFd_].loggedIn) {
                cycle_.loginMs = since();
            }
        } else if (cycle_.onMs < 0) {
            if (ons_ - onsAtStart_ >= expect || now - cycleStart_ > 10 * kSecond) {
                cycle_.onMs = since();
                missedOn_ += ons_ - onsAtStart_ < expect ? 1 : 0;
                cycleStart_ = now;
                drop(popularFd_); // the logout
            }
        } else if (offs_ - offsAtStart_ >= expect || now - cycleStart_ > 10 * kSecond) {
            cycle_.offMs = since();
            missedOff_ += offs_ - offsAtStart_ < expect ? 1 : 0;
            popularFd_ = -1;
            return true;
        }
        return cycle_.loginMs < 0 && now - cycleStart_ > 10 * kSecond; // no answer: give up
    }
    [[nodiscard]] const Cycle& cycle() const { return cycle_; }
    [[nodiscard]] int missedFanOuts() const { return missedOn_ + missedOff_; }

    // Messages between the probe pairs at `rate` a second for `seconds`,
    // while the popular user logs in and out every `cycleEvery` seconds;
    // the latencies of those sent after the first second, from their
    // scheduled time.
    std::vector<i64> probe(double rate, double seconds, double cycleEvery,
                           std::vector<Cycle>& cycles) {
        const i64 start = nowNs(), end = start + static_cast<i64>(seconds * 1e9);
        const i64 gap = static_cast<i64>(1e9 * kPairs / rate);
        for (std::size_t i = 0; i < pairs_.size(); ++i) {
            pairs_[i].due = start + gap * static_cast<i64>(i) / kPairs;
        }
        start_ = start;
        end_ = end;
        i64 nextCycle = start + kSecond;
        bool cycling = false;
        for (i64 t = nowNs(); t < end; t = nowNs()) {
            i64 soonest = end;
            for (auto& p : pairs_) {
                for (; p.due <= t && p.due < end; p.due += gap) {
                    send(p, p.due);
                }
                soonest = std::min(soonest, p.due);
            }
            if (!cycling && t >= nextCycle) {
                startCycle();
                cycling = true;
            }
            if (cycling && stepCycle()) {
                cycles.push_back(cycle_);
                cycling = false;
                nextCycle = t + static_cast<i64>(cycleEvery * 1e9);
            }
            pollNs(std::clamp<i64>(soonest - nowNs(), 0, 1'000'000));
        }
        for (const auto drainEnd = nowNs() + 5 * kSecond;
             (received_ < sent_ || cycling) && nowNs() < drainEnd;) {
            poll(1);
            if (cycling && stepCycle()) {
                cycles.push_back(cycle_);
                cycling = false;
            }
        }
        return latencies_;
    }
    [[nodiscard]] std::uint64_t sent() const { return sent_; }
    [[nodiscard]] std::uint64_t lost() const { return sent_ - std::min(sent_, received_); }
    [[nodiscard]] std::uint64_t outOfOrder() const { return outOfOrder_; }

    void poll(int timeoutMs) { pollNs(static_cast<i64>(std::max(timeoutMs, 0)) * 1'000'000); }
    // Waits to the nanosecond, so that sending on schedule needs no spinning
    // (which real-time throttling would punish with 50 ms pauses).
    void pollNs(i64 timeout) {
        epoll_event events[1024];
        const timespec wait{static_cast<time_t>(timeout / kSecond),
                            static_cast<long>(timeout % kSecond)};
        const int n = epoll_pwait2(ep_, events, 1024, &wait, nullptr);
        for (int i = 0; i < n; ++i) {
            const int fd = static_cast<int>(events[i].data.u32);
            if ((events[i].events & EPOLLOUT) &&
                state_[static_cast<std::size_t>(fd)] == kConnecting) {
                sendLogin(fd);
            }
            if ((events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR | EPOLLRDHUP)) &&
                state_[static_cast<std::size_t>(fd)] != kFree) {
                read(fd);
            }
        }
    }

private:
    enum : std::uint8_t { kFree, kConnecting, kSent, kIn, kFailed };

    // User k (the popular user when negative) from its source address;
    // the descriptor, or -1 when the machine gave no more.
    int open(int k, bool spread) {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            std::fprintf(stderr, "socket: %s after %d connections\n", std::strerror(errno), k);
            return -1;
        }
        if (spread) {
            const int one = 1;
            setsockopt(fd, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &one, sizeof one);
            sockaddr_in from{};
            from.sin_family = AF_INET;
            from.sin_addr.s_addr = htonl((127u << 24) + 2u + static_cast<unsigned>(k));
            bind(fd, reinterpret_cast<sockaddr*>(&from), sizeof from);
        }
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(port_);
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(fd, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0 && errno != EINPROGRESS) {
            std::fprintf(stderr, "connect: %s after %d connections\n", std::strerror(errno), k);
            close(fd);
            return -1;
        }
        if (state_.size() <= static_cast<std::size_t>(fd)) {
            state_.resize(static_cast<std::size_t>(fd) + 1 + state_.size() / 2, kFree);
        }
        state_[static_cast<std::size_t>(fd)] = kConnecting;
        connecting_[fd] = k;
        epoll_event ev{};
        ev.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
        ev.data.u32 = static_cast<std::uint32_t>(fd);
        epoll_ctl(ep_, EPOLL_CTL_ADD, fd, &ev);
        return fd;
    }

    void watch(int fd, int k) {
        auto& w = watched_[fd];
        if (k % 2 == 0) {
            pairs_.push_back({fd, -1, nameOf(k), nameOf(k + 1)});
        } else {
            pairs_.back().receiver = fd;
            w.pair = static_cast<int>(pairs_.size()) - 1;
        }
        const int one = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }

    void sendLogin(int fd) {
        const auto it = connecting_.find(fd);
        const std::string name = it->second < 0 ? kPopular : nameOf(it->second);
        connecting_.erase(it);
        const std::string login =
            std::string(kMark) + "cmdLI /:/ " + name + " /:/ " + kPassword + " /:/ 1.4";
        // A fresh socket takes a login whole.
        if (::send(fd, login.data(), login.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(login.size())) {
            end(fd, true);
            return;
        }
        state_[static_cast<std::size_t>(fd)] = kSent;
    }

    // The popular user logs out by closing its connection.
    void drop(int fd) {
        epoll_ctl(ep_, EPOLL_CTL_DEL, fd, nullptr);
        state_[static_cast<std::size_t>(fd)] = kFree;
        watched_.erase(fd);
        close(fd);
    }

    // The server closed it, or it never came up.
    void end(int fd, bool failed) {
        auto& state = state_[static_cast<std::size_t>(fd)];
        const bool popular = watched_.contains(fd) && watched_[fd].popular;
        if (!popular) {
            failed_ += state != kIn || failed ? 1 : 0;
            closed_ += state == kIn ? 1 : 0;
        }
        if (popular) {
            popularFd_ = -1;
        }
        state = kFree;
        connecting_.erase(fd);
        watched_.erase(fd);
        epoll_ctl(ep_, EPOLL_CTL_DEL, fd, nullptr);
        close(fd);
    }

    static int count(std::string_view bytes, std::string_view what) {
        int n = 0;
        for (auto at = bytes.find(what); at != std::string_view::npos;
             at = bytes.find(what, at + what.size())) {
            ++n;
        }
        return n;
    }

    void read(int fd) {
        char chunk[1 << 16];
        for (;;) {
            const ssize_t n = recv(fd, chunk, sizeof chunk, 0);
            if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
                return;
            }
            if (n <= 0) {
                end(fd, false);
                return;
            }
            const std::string_view bytes(chunk, static_cast<std::size_t>(n));
            // Presence of the popular user, which only the watchers hear.
            ons_ += count(bytes, "+LOn /$/ ");
            offs_ += count(bytes, "+LOff /$/ ");
            auto& state = state_[static_cast<std::size_t>(fd)];
            const auto it = watched_.find(fd);
            if (it != watched_.end()) {
                it->second.in.append(bytes);
                parse(fd, it->second);
            } else if (state == kSent) {
                // The reply to a login arrives whole: it is the first
                // record, and the server sends it in one piece.
                const auto at = bytes.find("+LI /$/ Login=");
                if (at != std::string_view::npos && at + 14 < bytes.size()) {
                    state = bytes[at + 14] == 'T' ? kIn : kFailed;
                    ++(state == kIn ? loggedIn_ : failed_);
                }
            }
        }
    }

    static std::vector<std::string_view> fields(std::string_view rec) {
        std::vector<std::string_view> out;
        for (std::size_t at = 0;;) {
            const auto sep = rec.find(kSep, at);
            out.push_back(rec.substr(at, sep == std::string_view::npos ? sep : sep - at));
            if (sep == std::string_view::npos) {
                return out;
            }
            at = sep + kSep.size();
        }
    }

    // Records have no terminator: one ends where the next mark begins; the
    // last is taken early only when the fields read from it are whole.
    void parse(int fd, Watched& w) {
        auto start = w.in.find(kMark);
        if (start == std::string::npos) {
            return;
        }
        const i64 now = nowNs();
        for (;;) {
            const auto next = w.in.find(kMark, start + kMark.size());
            const auto body = start + kMark.size();
            const std::string_view rec(w.in.data() + body,
                                       (next == std::string::npos ? w.in.size() : next) - body);
            const auto f = fields(rec);
            const bool whole = (f[0] == "+PM" && f.size() >= 4) ||
                               (f[0] == "+LI" && f.size() >= 2 && f[1].size() >= 10);
            if (next == std::string::npos) {
                if (!w.tailDone && whole) {
                    handle(fd, w, f, now);
                    w.tailDone = true;
                }
                break;
            }
            if (!w.tailDone) {
                handle(fd, w, f, now);
            }
            w.tailDone = false;
            start = next;
        }
        w.in.erase(0, start);
    }

    void handle(int fd, Watched& w, const std::vector<std::string_view>& f, i64 now) {
        auto& state = state_[static_cast<std::size_t>(fd)];
        if (f[0] == "+LI" && state == kSent) {
            state = f.size() >= 2 && f[1] == "Login=True" ? kIn : kFailed;
            if (w.popular) {
                w.loggedIn = state == kIn;
            } else {
                ++(state == kIn ? loggedIn_ : failed_);
            }
        } else if (f[0] == "+PM" && f.size() >= 3 && w.pair >= 0) {
            auto& p = pairs_[static_cast<std::size_t>(w.pair)];
            const std::string text(f[2]);
            const auto seq = std::strtoull(text.c_str() + 1, nullptr, 10);
            const auto stamp = std::strtoll(text.c_str() + text.find('t') + 1, nullptr, 10);
            outOfOrder_ += seq == p.received ? 0 : 1;
            ++p.received;
            ++received_;
            if (stamp >= start_ + kSecond && stamp < end_) {
                latencies_.push_back(now - stamp);
            }
        } else if (f[0] == "+UNO" || f[0] == "+UNV") {
            ++outOfOrder_; // a receiver went away: a failure too
        }
    }

    void send(Pair& p, i64 stamp) {
        ++sent_;
        const std::string text = "m" + std::to_string(p.sent++) + "t" + std::to_string(stamp);
        const std::string record = std::string(kMark) + "cmdPM /:/ " + p.senderName + " /:/ " +
                                   p.receiverName + " /:/ " + text + " /:/ Arial /:/ 10 /:/ B";
        // A probe sender's socket never fills at this rate.
        if (::send(p.sender, record.data(), record.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(record.size())) {
            ++outOfOrder_;
        }
    }

    const MillionArgs& args_;
    unsigned short port_;
    int ep_;
    std::vector<std::uint8_t> state_; // by descriptor
    std::unordered_map<int, int> connecting_;
    std::unordered_map<int, Watched> watched_;
    std::vector<Pair> pairs_;
    std::vector<i64> latencies_;
    int loggedIn_ = 0, failed_ = 0, closed_ = 0;
    int opened_ = 0; // users 0 .. opened_-1 were asked to log in
    i64 ons_ = 0, offs_ = 0, onsAtStart_ = 0, offsAtStart_ = 0;
    i64 start_ = 0, end_ = 0, cycleStart_ = 0;
    std::uint64_t sent_ = 0, received_ = 0, outOfOrder_ = 0;
    int popularFd_ = -1;
    int missedOn_ = 0, missedOff_ = 0;
    Cycle cycle_;
};

double percentile(std::vector<double> values, double q) {
    if (values.empty()) {
        return -1;
    }
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1,
                           static_cast<std::size_t>(q * static_cast<double>(values.size())))];
}

int run(const MillionArgs& args, const cpu_set_t& everyCpu) {
    if (args.conns < 2 * kPairs) {
        throw std::runtime_error("--conns below " + std::to_string(2 * kPairs));
    }
    const MachineLimits limits(args.conns);
    const fs::path dir =
        fs::temp_directory_path() / ("velmorad-million-" + std::to_string(getpid()));
    fs::create_directories(dir);
    struct Cleanup {
        fs::path dir;
        ~Cleanup() { fs::remove_all(dir); }
    } cleanup{dir};

    const int accounts = std::max(args.conns, args.accounts);
    const double setup = createAccounts(dir / "load.db", accounts, 2 * kPairs, args.watchers);
    std::printf("setup: %d accounts in %.1f s, %d of them watching %s\n", accounts, setup,
                std::min(args.watchers, args.conns - 2 * kPairs), kPopular);
    std::fflush(stdout);
    if (args.cpu >= 0) {
        pin(args.cpu, everyCpu);
    }
    const Server server(args, dir, everyCpu);
    Crowd crowd(args, server.port());
    const long rss0 = server.rssKb();
    const long kernel0 = kernelKb();
    // Half first, then the rest: the second half's growth is what one more
    // user costs, without what the first logins set up once (caches, code).
    double loginS = crowd.login(args.conns / 2);
    crowd.hold(2);
    const long rssHalf = server.rssKb();
    const int inHalf = crowd.loggedIn();
    loginS += crowd.login(args.conns);
    const int in = crowd.loggedIn();
    std::printf("logins: %d of %d in %.1f s (%.0f a second), %d failed\n", in, args.conns, loginS,
                in / loginS, crowd.failed());
    std::fflush(stdout);
    crowd.hold(3); // the server gives idle buffers back within a second
    const long rss = server.rssKb();
    const long kernel = kernelKb();
    const double rssPer = static_cast<double>(rss - rss0) / std::max(in, 1);
    // Both ends of every connection are on this machine: half is the server's.
    const double kernelPer = static_cast<double>(kernel - kernel0) / std::max(in, 1) / 2;
    const double rssMarginal = static_cast<double>(rss - rssHalf) / std::max(in - inHalf, 1);
    std::printf("held: server RSS %ld -> %ld kB, %.3f kB per user (%.3f kB for each of the "
                "second half); kernel %ld -> %ld kB, %.2f kB per connection end\n",
                rss0, rss, rssPer, rssMarginal, kernel0, kernel, kernelPer);
    std::fflush(stdout);

    // The popular user alone first: what its login and logout cost the server.
    std::vector<Crowd::Cycle> alone;
    const double cpu0 = server.cpuSeconds();
    for (int i = 0; i < 10 && in > 0; ++i) {
        crowd.startCycle();
        while (!crowd.stepCycle()) {
            crowd.poll(1);
        }
        alone.push_back(crowd.cycle());
    }
    const double cycleCpuMs = (server.cpuSeconds() - cpu0) * 1000 / 10;
    std::vector<double> logins, ons, offs;
    for (const auto& c : alone) {
        logins.push_back(c.loginMs);
        ons.push_back(c.onMs);
        offs.push_back(c.offMs);
    }
    std::printf("%s, %d watchers online: login answered in %.2f ms, +LOn to all in %.2f ms, "
                "+LOff to all in %.2f ms (medians of 10); server CPU %.2f ms per login and "
                "logout\n",
                kPopular, std::min(args.watchers, in - 2 * kPairs), percentile(logins, 0.5),
                percentile(ons, 0.5), percentile(offs, 0.5), cycleCpuMs);
    std::fflush(stdout);

    std::vector<Crowd::Cycle> during;
    auto latencies = crowd.probe(args.rate, args.duration, 0.5, during);
    std::sort(latencies.begin(), latencies.end());
    const auto pct = [&](double q) {
        return latencies.empty()
                   ? -1.0
                   : static_cast<double>(latencies[std::min(
                         latencies.size() - 1,
                         static_cast<std::size_t>(q * static_cast<double>(latencies.size())))]) /
                         1e6;
    };
    std::printf("probe: %.0f msgs/s over %d pairs for %.0f s while %s logged in and out %zu "
                "times: p50 %.3f ms, p99 %.3f ms, p999 %.3f ms, max %.3f ms; %llu sent, %llu "
                "lost, %llu out of order or refused\n",
                args.rate, kPairs, args.duration, kPopular, during.size(), pct(0.5), pct(0.99),
                pct(0.999), pct(1.0), static_cast<unsigned long long>(crowd.sent()),
                static_cast<unsigned long long>(crowd.lost()),
                static_cast<unsigned long long>(crowd.outOfOrder()));
    const int held = crowd.loggedIn();
    std::printf(
        "RESULT mode=million conns=%d logged_in=%d login_s=%.1f "
        "server_rss_per_conn_kb=%.3f kernel_kb_per_conn=%.2f p50_ms=%.3f p99_ms=%.3f "
        "marginal_rss_kb=%.3f popular_login_ms=%.2f popular_fanout_ms=%.2f popular_cpu_ms=%.2f\n",
        args.conns, held, loginS, rssPer, kernelPer, pct(0.5), pct(0.99), rssMarginal,
        percentile(logins, 0.5), percentile(ons, 0.5), cycleCpuMs);
    const bool ok = held == args.conns && crowd.failed() == 0 && crowd.lost() == 0 &&
                    crowd.outOfOrder() == 0 && !latencies.empty() && crowd.missedFanOuts() == 0;
    if (!ok) {
        std::printf("FAILED: %d of %d held, %d logins failed, %llu messages lost, %d fan-outs "
                    "short\n",
                    held, args.conns, crowd.failed(), static_cast<unsigned long long>(crowd.lost()),
                    crowd.missedFanOuts());
    }
    return ok ? 0 : 1;
}

} // namespace

int runMillion(const MillionArgs& args, const cpu_set_t& everyCpu) {
    try {
        return run(args, everyCpu);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_server_load: %s\n", e.what());
        return 2;
    }
}

} // namespace velmora::bench
