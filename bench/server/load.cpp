// The load one velmorad carries, measured four ways against a server of its
// own (scratch database, free port, cheap hashes, limits off):
//
//   throughput  P pairs, each sender keeping W messages in flight for T seconds:
//               messages relayed per second and the server's CPU per message
//   latency     R messages a second in all, sent on schedule over P pairs whether
//               or not earlier ones arrived: p50/p99/p999 from the scheduled time
//   idle        N connections logged in and held: the server's RSS per connection
//   logins      N connections logged in, K at a time: how long that takes
//   million     N users (a million unless --conns says otherwise) logged in and
//               held, with latency probes and a user with 1,000 watchers
//               logging in and out meanwhile (million.cpp)
//   sessions    N users (a million unless --conns says otherwise) logged in to the
//               hub alone, without sockets: memory per session, logins and
//               sweeps at that size (sessions_scale.cpp)
//   cluster     two nodes sharing their users through a redis-server of the
//               benchmark's own: throughput with both ends of every pair on
//               node a, then with senders on a and receivers on b; CPU per
//               message of each node and of Redis, Redis commands per message
//
//   bench_server_load [--mode throughput|latency|idle|logins|million|sessions|cluster|all]
//       [--pairs P]
//       [--window W] [--duration T] [--rate R] [--conns N] [--burst K]
//       [--msg-bytes B] [--accounts N] [--watchers N] [--server PATH] [--server-cpu C] [--cpu C]
//
// One single-threaded epoll loop drives every connection. Each mode gets a
// fresh server. Exits 1 when a message was lost or came out of order, or a
// login failed.
#include "core/password.h"
#include "million.h"
#include "sessions_scale.h"
#include "store/sqlite_store.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
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
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using i64 = std::int64_t;
using u64 = std::uint64_t;
constexpr i64 kSecond = 1'000'000'000;
using velmora::server::core::HashCost;
using velmora::server::core::PasswordHasher;
using velmora::server::store::SqliteStore;

struct Args {
    std::string server =
#ifdef VELMORAD_DEFAULT_PATH
        VELMORAD_DEFAULT_PATH;
#else
        "velmorad";
#endif
    std::string mode = "all";
    int pairs = 100, window = 16, conns = 10000, burst = 8, msgBytes = 32;
    double duration = 10, rate = 10000;
    int serverCpu = -1, cpu = -1;
    int accounts = 0;    // million: accounts in the store, when more than --conns
    int watchers = 1000; // million: users whose buddy list holds the popular user
    bool connsGiven = false, burstGiven = false;
};

constexpr const char* kPassword = "loadpw1";
constexpr std::string_view kMark = " ## ";
constexpr std::string_view kSep = " /$/ ";

[[noreturn]] void die(const std::string& why) {
    std::fprintf(stderr, "bench_server_load: %s\n", why.c_str());
    std::exit(2);
}

i64 nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

std::string nameOf(int k) {
    char name[16];
    std::snprintf(name, sizeof name, "lg%05d", k);
    return name;
}

// "12,345,678": figures this large read better grouped.
std::string grouped(double value) {
    std::string digits = std::to_string(static_cast<long long>(value + 0.5));
    for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) {
        digits.insert(static_cast<std::size_t>(at), ",");
    }
    return digits;
}

void pin(int cpu, const cpu_set_t* all) {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (cpu >= 0) {
        CPU_SET(cpu, &set);
    }
    if (sched_setaffinity(0, sizeof set, cpu >= 0 ? &set : all) != 0) {
        die("cannot pin to cpu " + std::to_string(cpu));
    }
}

// User plus system time of a process so far (fields 14 and 15, after the name).
double cpuUsOf(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    const std::string stat((std::istreambuf_iterator<char>(in)), {});
    unsigned long user = 0, system = 0;
    std::sscanf(stat.c_str() + stat.rfind(')') + 1,
                " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &system);
    return static_cast<double>(user + system) * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// The server under load, started fresh with every limit that would stop the
// generator switched off; it reports its port on stdout.
struct Server {
    pid_t pid = -1;
    unsigned short port = 0;

    // `extra`: further flags, and a name for its files when there are several.
    Server(const Args& args, const fs::path& dir, const cpu_set_t* all,
           std::vector<std::string> extra = {}, const std::string& name = "server") {
        const std::string out = (dir / (name + ".out")).string();
        const std::string db = (dir / "load.db").string();
        const std::string conns = std::to_string(std::max(args.conns, 2 * args.pairs) + 100);
        fs::remove(out);
        std::fflush(stdout); // or the child would print it again
        pid = fork();
        if (pid == 0) {
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
                                              "100000",
                                              "--max-connections",
                                              conns};
            flags.insert(flags.end(), extra.begin(), extra.end());
            std::vector<char*> argv;
            for (auto& flag : flags) {
                argv.push_back(flag.data());
            }
            argv.push_back(nullptr);
            execv(args.server.c_str(), argv.data());
            _exit(127);
        }
        for (int tries = 0; tries < 200 && port == 0; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::ifstream in(out);
            std::string line;
            unsigned p = 0;
            if (std::getline(in, line) &&
                std::sscanf(line.c_str(), "listening on 127.0.0.1:%u", &p) == 1) {
                port = static_cast<unsigned short>(p);
            }
        }
        if (port == 0) {
            kill(pid, SIGKILL);
            die("server did not start: " + args.server);
        }
    }
    ~Server() {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] long rssKb() const {
        std::ifstream in("/proc/" + std::to_string(pid) + "/status");
        std::string line;
        while (std::getline(in, line) && !line.starts_with("VmRSS:")) {
        }
        return std::atol(line.c_str() + std::min<std::size_t>(line.size(), 6));
    }
    [[nodiscard]] double cpuUs() const { return cpuUsOf(pid); }
};

// A redis-server of the benchmark's own on a Unix socket, saving nothing.
struct Redis {
    pid_t pid = -1;
    std::string socket;

    explicit Redis(const fs::path& dir) : socket((dir / "redis.sock").string()) {
        std::fflush(stdout); // or the child would print it again
        pid = fork();
        if (pid == 0) {
            std::freopen("/dev/null", "w", stdout);
            execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", socket.c_str(),
                   "--save", "", "--appendonly", "no", nullptr);
            _exit(127);
        }
        for (int tries = 0; tries < 200 && !fs::exists(socket); ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        if (!fs::exists(socket)) {
            die("redis-server did not start");
        }
    }
    ~Redis() {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
    }
    Redis(const Redis&) = delete;
    Redis& operator=(const Redis&) = delete;

    // Commands Redis has run so far, by redis-cli's INFO commandstats.
    [[nodiscard]] double commands() const {
        FILE* info = popen(("redis-cli -s " + socket + " INFO commandstats").c_str(), "r");
        double calls = 0;
        char line[512];
        while (info && std::fgets(line, sizeof line, info)) {
            if (const char* at = std::strstr(line, "calls=")) {
                calls += std::atof(at + 6);
            }
        }
        if (info) {
            pclose(info);
        }
        return calls;
    }
};

// Other processes whose CPU a run reports per message.
struct Watched {
    std::string name;
    pid_t pid;
};

struct Conn {
    int fd = -1;
    std::string in, out;
    bool loggedIn = false, failed = false, closed = false;
    bool tailDone = false; // the unterminated last record was already taken
    bool dirty = false;
    int pair = -1;
};

struct Pair {
    int sender = 0, receiver = 0;
    u64 sent = 0, received = 0;
    i64 due = 0; // latency: the next send's scheduled time
};

// Every connection of one run, and the loop that serves them.
class Load {
public:
    // `receiverPort`, when given, is where the receiving end of each pair connects.
    Load(const Args& args, unsigned short port, unsigned short receiverPort = 0)
        : args_(args), port_(port), receiverPort_(receiverPort ? receiverPort : port),
          ep_(epoll_create1(0)) {}
    ~Load() {
        for (auto& c : conns_) {
            close(c.fd);
        }
        close(ep_);
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;

    // Logs `n` connections in, `burst` at a time; the seconds it took.
    double login(int n) {
        const auto start = nowNs();
        conns_.resize(static_cast<std::size_t>(n));
        int opened = 0;
        while (done() < n && nowNs() - start < 120 * kSecond) {
            for (; opened < n && opened - done() < args_.burst; ++opened) {
                open(opened);
            }
            poll(10);
        }
        return static_cast<double>(nowNs() - start) / 1e9;
    }
    [[nodiscard]] int loggedIn() const {
        return static_cast<int>(std::count_if(
            conns_.begin(), conns_.end(), [](const Conn& c) { return c.loggedIn && !c.closed; }));
    }
    void hold(double seconds) {
        for (const auto end = nowNs() + static_cast<i64>(seconds * 1e9); nowNs() < end;) {
            poll(50);
        }
    }

    // Throughput (rate 0: refill each window) or latency (a fixed rate); true
    // when every message arrived once and in order.
    bool pairs(const Server& server, double rate, const std::vector<Watched>& also = {},
               const Redis* redis = nullptr) {
        const int np = args_.pairs;
        login(2 * np);
        if (loggedIn() < 2 * np) {
            std::printf("%s: only %d of %d logged in\n", rate > 0 ? "latency" : "throughput",
                        loggedIn(), 2 * np);
            return false;
        }
        for (int i = 0; i < np; ++i) {
            pairs_.push_back({2 * i, 2 * i + 1});
            conn(2 * i + 1).pair = i;
        }
        hold(0.3); // the records that follow a login settle first
        const double cpu0 = server.cpuUs();
        std::vector<double> alsoCpu0;
        for (const auto& w : also) {
            alsoCpu0.push_back(cpuUsOf(w.pid));
        }
        const double commands0 = redis ? redis->commands() : 0;
        start_ = nowNs();
        end_ = start_ + static_cast<i64>(args_.duration * 1e9);
        const auto gap = rate > 0 ? static_cast<i64>(1e9 * np / rate) : 0;
        for (auto& p : pairs_) {
            const auto i = static_cast<i64>(&p - pairs_.data());
            p.due = start_ + gap * i / np;
            for (int w = 0; rate == 0 && w < args_.window; ++w) {
                send(p, start_);
            }
        }
        refill_ = rate == 0;
        for (auto t = nowNs(); t < end_; t = nowNs()) {
            auto soonest = end_;
            for (auto& p : pairs_) {
                for (; rate > 0 && p.due <= t && p.due < end_; p.due += gap) {
                    send(p, p.due);
                }
                soonest = std::min(soonest, rate > 0 ? p.due : end_);
            }
            flush();
            poll(static_cast<int>(std::min<i64>(100, (soonest - nowNs()) / 1'000'000)));
        }
        const double wall = static_cast<double>(nowNs() - start_) / 1e9;
        const double cpu = server.cpuUs() - cpu0;
        const auto inRun = receivedInRun_;
        const double perMsg = 1.0 / static_cast<double>(std::max<u64>(inRun, 1));
        std::string others;
        for (std::size_t i = 0; i < also.size(); ++i) {
            char figure[96];
            std::snprintf(figure, sizeof figure, ", %s %.2f us/msg", also[i].name.c_str(),
                          (cpuUsOf(also[i].pid) - alsoCpu0[i]) * perMsg);
            others += figure;
        }
        if (redis) {
            char figure[96];
            // INFO itself counts as one command.
            std::snprintf(figure, sizeof figure, ", %.4f Redis commands/msg",
                          (redis->commands() - commands0 - 1) * perMsg);
            others += figure;
        }
        refill_ = false;
        for (const auto drainEnd = nowNs() + 5 * kSecond;
             received_ < sent_ && nowNs() < drainEnd;) {
            poll(20);
        }
        const auto lost = sent_ - std::min(sent_, received_);
        char setup[96];
        std::snprintf(setup, sizeof setup, "%d pairs, %.0f s", np, args_.duration);
        if (rate == 0) {
            std::printf("throughput: %s msgs/s, server %.2f us/msg%s (%s, %d in flight)\n",
                        grouped(static_cast<double>(inRun) / wall).c_str(), cpu * perMsg,
                        others.c_str(), setup, args_.window);
        } else {
            std::sort(latencies_.begin(), latencies_.end());
            auto pct = [&](double q) { // -1 when nothing arrived
                const auto i = static_cast<std::size_t>(q * static_cast<double>(latencies_.size()));
                return latencies_.empty() ? -1.0 : static_cast<double>(latencies_[i]) / 1e6;
            };
            std::printf("latency: p50 %.3f ms, p99 %.3f ms, p999 %.3f ms at %s msgs/s (sent %s/s, "
                        "%s, first second not counted)\n",
                        pct(0.5), pct(0.99), pct(0.999), grouped(rate).c_str(),
                        grouped(static_cast<double>(sent_) / wall).c_str(), setup);
        }
        if (lost > 0 || outOfOrder_ > 0 || closed_ > 0) {
            std::printf("  FAILED: %s sent, %s lost, %s out of order, %d connections lost\n",
                        grouped(sent_).c_str(), grouped(lost).c_str(), grouped(outOfOrder_).c_str(),
                        closed_);
            return false;
        }
        return true;
    }

private:
    Conn& conn(int k) { return conns_[static_cast<std::size_t>(k)]; }
    [[nodiscard]] int done() const { return loggedIn_ + failed_; }

    void open(int k) {
        auto& c = conn(k);
        c.fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        const int one = 1;
        setsockopt(c.fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(k % 2 == 1 ? receiverPort_ : port_);
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (c.fd < 0 || (connect(c.fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 &&
                         errno != EINPROGRESS)) {
            die("cannot connect: " + std::string(std::strerror(errno)));
        }
        epoll_event ev{};
        ev.events = EPOLLIN | EPOLLOUT | EPOLLET;
        ev.data.u32 = static_cast<std::uint32_t>(k);
        epoll_ctl(ep_, EPOLL_CTL_ADD, c.fd, &ev);
        queue(c, std::string(kMark) + "cmdLI /:/ " + nameOf(k) + " /:/ " + kPassword + " /:/ 1.4");
    }

    void queue(Conn& c, std::string_view bytes) {
        c.out += bytes;
        if (!c.dirty && !c.out.empty()) {
            c.dirty = true;
            dirty_.push_back(static_cast<int>(&c - conns_.data()));
        }
    }
    // One write per connection per loop turn; what the socket refuses waits
    // for EPOLLOUT.
    void flush() {
        for (const int k : dirty_) {
            auto& c = conn(k);
            c.dirty = false;
            const ssize_t n = c.closed ? 0 : ::send(c.fd, c.out.data(), c.out.size(), MSG_NOSIGNAL);
            c.out.erase(0, n > 0 ? static_cast<std::size_t>(n) : 0);
        }
        dirty_.clear();
    }

    void send(Pair& p, i64 stamp) {
        ++sent_;
        std::string text = "m" + std::to_string(p.sent++) + "t" + std::to_string(stamp);
        text.resize(std::max(text.size(), static_cast<std::size_t>(args_.msgBytes)), 'x');
        queue(conn(p.sender), std::string(kMark) + "cmdPM /:/ " + nameOf(p.sender) + " /:/ " +
                                  nameOf(p.receiver) + " /:/ " + text + " /:/ Arial /:/ 10 /:/ B");
    }

    void poll(int timeoutMs) {
        flush();
        epoll_event events[256];
        const int n = epoll_wait(ep_, events, 256, std::max(timeoutMs, 0));
        for (int i = 0; i < n; ++i) {
            auto& c = conns_[events[i].data.u32];
            if (events[i].events & EPOLLOUT) {
                queue(c, "");
            }
            if (events[i].events & (EPOLLIN | EPOLLHUP | EPOLLERR)) {
                read(c);
            }
        }
        flush();
    }

    void read(Conn& c) {
        char chunk[1 << 16];
        for (;;) {
            const ssize_t n = recv(c.fd, chunk, sizeof chunk, 0);
            if (n < 0 && errno == EAGAIN) {
                return;
            }
            if (n <= 0) {
                if (!c.closed) {
                    c.closed = true;
                    closed_ += c.loggedIn ? 1 : 0;
                    failed_ += c.loggedIn || c.failed ? 0 : 1;
                }
                return;
            }
            c.in.append(chunk, static_cast<std::size_t>(n));
            parse(c, nowNs());
        }
    }

    // Records have no terminator: one ends where the next mark begins. The
    // last one is taken early only when the fields read from it are whole.
    void parse(Conn& c, i64 now) {
        auto start = c.in.find(kMark);
        if (start == std::string::npos) {
            c.in.erase(0, c.in.size() - std::min(c.in.size(), kMark.size() - 1));
            return;
        }
        for (;;) {
            const auto next = c.in.find(kMark, start + kMark.size());
            const auto body = start + kMark.size();
            const std::string_view rec(c.in.data() + body,
                                       (next == std::string::npos ? c.in.size() : next) - body);
            if (next == std::string::npos) {
                if (!c.tailDone && whole(rec)) {
                    handle(c, rec, now);
                    c.tailDone = true;
                }
                break;
            }
            if (!c.tailDone) {
                handle(c, rec, now);
            }
            c.tailDone = false;
            start = next;
        }
        c.in.erase(0, start);
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
    static bool whole(std::string_view rec) {
        const auto f = fields(rec);
        return (f[0] == "+PM" && f.size() >= 4) ||
               (f[0] == "+LI" && f.size() >= 2 &&
                (f[1] == "Login=True" || f[1] == "Login=False" || f[1] == "CUgd"));
    }

    void handle(Conn& c, std::string_view rec, i64 now) {
        const auto f = fields(rec);
        if (f[0] == "+LI" && !c.loggedIn && !c.failed) {
            (f.size() >= 2 && f[1] == "Login=True" ? c.loggedIn : c.failed) = true;
            ++(c.loggedIn ? loggedIn_ : failed_);
        } else if (f[0] == "+PM" && f.size() >= 3 && c.pair >= 0) {
            auto& p = pairs_[static_cast<std::size_t>(c.pair)];
            const std::string text(f[2]);
            const auto seq = std::strtoull(text.c_str() + 1, nullptr, 10);
            const auto stamp = std::strtoll(text.c_str() + text.find('t') + 1, nullptr, 10);
            outOfOrder_ += seq == p.received ? 0 : 1;
            ++p.received;
            ++received_;
            if (stamp >= start_ && stamp < end_) {
                ++receivedInRun_;
            }
            if (!refill_ && stamp >= start_ + kSecond && stamp < end_) {
                latencies_.push_back(now - stamp);
            }
            if (refill_) {
                send(p, now);
            }
        } else if (f[0] == "+UNO" || f[0] == "+UNV") {
            ++closed_; // the receiver went away: counted as a failure
        }
    }

    const Args& args_;
    unsigned short port_, receiverPort_;
    int ep_;
    std::vector<Conn> conns_;
    std::vector<Pair> pairs_;
    std::vector<int> dirty_;
    std::vector<i64> latencies_;
    int loggedIn_ = 0, failed_ = 0, closed_ = 0;
    i64 start_ = 0, end_ = 0;
    u64 sent_ = 0, received_ = 0, outOfOrder_ = 0, receivedInRun_ = 0;
    bool refill_ = false;
};

Args parse(int argc, char** argv) {
    Args a;
    const std::map<std::string, int*> counts = {
        {"--pairs", &a.pairs}, {"--window", &a.window},      {"--conns", &a.conns},
        {"--burst", &a.burst}, {"--msg-bytes", &a.msgBytes}, {"--server-cpu", &a.serverCpu},
        {"--cpu", &a.cpu},     {"--accounts", &a.accounts},  {"--watchers", &a.watchers}};
    for (int i = 1; i < argc; i += 2) {
        const std::string flag = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : "";
        if (counts.contains(flag)) {
            *counts.at(flag) = std::atoi(value);
            a.connsGiven = a.connsGiven || flag == "--conns";
            a.burstGiven = a.burstGiven || flag == "--burst";
        } else if (flag == "--duration" || flag == "--rate") {
            (flag == "--rate" ? a.rate : a.duration) = std::atof(value);
        } else if (flag == "--mode" || flag == "--server") {
            (flag == "--mode" ? a.mode : a.server) = value;
        } else {
            die("unknown flag " + flag);
        }
    }
    const std::set<std::string> modes = {"throughput", "latency",  "idle",    "logins",
                                         "million",    "sessions", "cluster", "all"};
    if (!modes.contains(a.mode) || a.pairs < 1 || a.window < 1 || a.conns < 1 || a.burst < 1 ||
        a.duration <= 1 || a.rate <= 0) {
        die("a mode of throughput|latency|idle|logins|million|sessions|cluster|all; pairs, window, "
            "conns, "
            "burst and "
            "rate "
            "above 0; duration above 1 s");
    }
    return a;
}

} // namespace

int main(int argc, char** argv) {
    const Args args = parse(argc, argv);
    const bool all = args.mode == "all";
    cpu_set_t everyCpu;
    sched_getaffinity(0, sizeof everyCpu, &everyCpu);
    if (args.cpu >= 0) {
        pin(args.cpu, &everyCpu);
    }
    if (args.mode == "sessions") {
        return velmora::bench::runSessions(args.connsGiven ? args.conns : 1'000'000, args.watchers);
    }
    if (args.mode == "million") {
        velmora::bench::MillionArgs million;
        million.server = args.server;
        million.conns = args.connsGiven ? args.conns : million.conns;
        million.accounts = args.accounts;
        million.watchers = args.watchers;
        million.burst = args.burstGiven ? args.burst : million.burst;
        million.rate = args.rate;
        million.duration = args.duration;
        million.serverCpu = args.serverCpu;
        million.cpu = args.cpu;
        return velmora::bench::runMillion(million, everyCpu);
    }
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);

    const fs::path dir = fs::temp_directory_path() / ("velmorad-load-" + std::to_string(getpid()));
    fs::create_directories(dir);
    {
        const int accounts = std::max(
            all || args.mode == "idle" || args.mode == "logins" ? args.conns : 0, 2 * args.pairs);
        const auto start = nowNs();
        SqliteStore store((dir / "load.db").string());
        const std::string hash = PasswordHasher(HashCost::Fast).hash(kPassword);
        for (int k = 0; k < accounts; ++k) {
            if (!store.addUser(nameOf(k), hash)) {
                die("cannot add " + nameOf(k));
            }
        }
        std::printf("setup: %d accounts in %.1f s\n", accounts,
                    static_cast<double>(nowNs() - start) / 1e9);
    }

    bool ok = true;
    if (all || args.mode == "throughput") {
        const Server server(args, dir, &everyCpu);
        ok = Load(args, server.port).pairs(server, 0) && ok;
    }
    if (all || args.mode == "latency") {
        const Server server(args, dir, &everyCpu);
        ok = Load(args, server.port).pairs(server, args.rate) && ok;
    }
    if (all || args.mode == "idle") {
        const Server server(args, dir, &everyCpu);
        Load load(args, server.port);
        const long before = server.rssKb();
        load.login(args.conns);
        load.hold(2);
        const long after = server.rssKb();
        const int held = load.loggedIn();
        std::printf("idle: %.2f kB per connection (server RSS %s kB -> %s kB, %d of %d held)\n",
                    static_cast<double>(after - before) / std::max(held, 1),
                    grouped(static_cast<double>(before)).c_str(),
                    grouped(static_cast<double>(after)).c_str(), held, args.conns);
        ok = held == args.conns && ok;
    }
    if (all || args.mode == "logins") {
        const Server server(args, dir, &everyCpu);
        Load load(args, server.port);
        const double seconds = load.login(args.conns);
        const int in = load.loggedIn();
        std::printf("logins: %d in %.2f s, %s logins/s (%d at a time, cheap hashes)\n", in, seconds,
                    grouped(in / seconds).c_str(), args.burst);
        ok = in == args.conns && ok;
    }
    if (args.mode == "cluster") {
        // Both runs on the same two nodes, so that they pay the same for the bus.
        const Redis redis(dir);
        const std::string bus = "unix://" + redis.socket;
        const Server a(args, dir, &everyCpu, {"--bus", bus, "--node", "a"}, "a");
        const Server b(args, dir, &everyCpu, {"--bus", bus, "--node", "b"}, "b");
        std::printf("cluster, both ends on node a:\n  ");
        ok =
            Load(args, a.port).pairs(a, 0, {{"node b", b.pid}, {"redis", redis.pid}}, &redis) && ok;
        std::printf("cluster, senders on node a, receivers on node b:\n  ");
        ok = Load(args, a.port, b.port)
                 .pairs(a, 0, {{"node b", b.pid}, {"redis", redis.pid}}, &redis) &&
             ok;
    }
    fs::remove_all(dir);
    return ok ? 0 : 1;
}
