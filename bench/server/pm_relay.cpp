// How many private messages one velmorad relays per second between two
// connections. Starts its own server on a free port with a scratch database,
// logs in two users, and has one send while the other receives.
//
//   bench_server_pm_relay [--server PATH] [--count N] [--text-bytes N]
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Args {
    std::string server =
#ifdef VELMORAD_DEFAULT_PATH
        VELMORAD_DEFAULT_PATH;
#else
        "velmorad";
#endif
    long count = 200000;
    std::size_t textBytes = 40;
};

[[noreturn]] void die(const std::string& why) {
    std::fprintf(stderr, "bench_server_pm_relay: %s\n", why.c_str());
    std::exit(1);
}

pid_t run(const std::vector<std::string>& args, int stdoutFd) {
    std::vector<char*> argv;
    for (const auto& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        if (stdoutFd >= 0) {
            dup2(stdoutFd, STDOUT_FILENO);
        } else {
            std::freopen("/dev/null", "w", stdout);
        }
        std::freopen("/dev/null", "w", stderr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

int connectTo(unsigned short port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        die("cannot connect");
    }
    return fd;
}

void sendAll(int fd, const std::string& bytes) {
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            die("send failed");
        }
        sent += static_cast<std::size_t>(n);
    }
}

// Reads until `marker` has been seen `times` times in the stream.
void readUntil(int fd, const std::string& marker, long times) {
    std::string tail;
    char chunk[1 << 16];
    long seen = 0;
    while (seen < times) {
        const ssize_t n = recv(fd, chunk, sizeof chunk, 0);
        if (n <= 0) {
            die("connection lost");
        }
        tail.append(chunk, static_cast<std::size_t>(n));
        for (auto at = tail.find(marker); at != std::string::npos; at = tail.find(marker, at + 1)) {
            ++seen;
        }
        tail.erase(0, tail.size() > marker.size() ? tail.size() - marker.size() + 1 : 0);
    }
}

int login(unsigned short port, const std::string& name) {
    const int fd = connectTo(port);
    sendAll(fd, " ## cmdLI /:/ " + name + " /:/ secret /:/ 1.4");
    readUntil(fd, "+BL", 1);
    return fd;
}

} // namespace

int main(int argc, char** argv) {
    Args args;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        if (flag == "--server") {
            args.server = argv[i + 1];
        } else if (flag == "--count") {
            args.count = std::atol(argv[i + 1]);
        } else if (flag == "--text-bytes") {
            args.textBytes = static_cast<std::size_t>(std::atol(argv[i + 1]));
        } else {
            die("unknown flag " + flag);
        }
    }
    const auto dir =
        std::filesystem::temp_directory_path() / ("velmorad-bench-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const std::string db = (dir / "bench.db").string();
    for (const char* name : {"alicia", "bobby"}) {
        int status = 0;
        waitpid(
            run({args.server, "useradd", name, "secret", "--db", db, "--hash-cost", "fast"}, -1),
            &status, 0);
    }
    int out[2];
    if (pipe(out) != 0) {
        die("pipe failed");
    }
    // One sender is far past the default command budget, and faster than one
    // reader: measure the relay, not the limits that stop such a sender.
    const pid_t server = run({args.server, "--listen", "127.0.0.1:0", "--db", db,
                              "--commands-per-second", "0", "--max-pending-bytes", "268435456"},
                             out[1]);
    close(out[1]);
    char line[128] = {};
    FILE* lines = fdopen(out[0], "r");
    unsigned port = 0;
    if (!std::fgets(line, sizeof line, lines) ||
        std::sscanf(line, "listening on 127.0.0.1:%u", &port) != 1) {
        die("server did not start");
    }

    const int sender = login(static_cast<unsigned short>(port), "alicia");
    const int receiver = login(static_cast<unsigned short>(port), "bobby");
    const std::string pm = " ## cmdPM /:/ alicia /:/ bobby /:/ " +
                           std::string(args.textBytes, 'x') + " /:/ Arial /:/ 10 /:/ B";
    // Writes of about 64 KiB, as a busy client's socket would coalesce them.
    const long perWrite = std::max<long>(1, 65536 / static_cast<long>(pm.size()));

    const auto start = std::chrono::steady_clock::now();
    std::thread reader([&] { readUntil(receiver, "+PM", args.count); });
    for (long sent = 0; sent < args.count;) {
        std::string batch;
        for (long i = 0; i < perWrite && sent < args.count; ++i, ++sent) {
            batch += pm;
        }
        sendAll(sender, batch);
    }
    reader.join();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    std::printf("%ld PMs of %zu text bytes relayed in %.3f s: %.0f PMs/s\n", args.count,
                args.textBytes, seconds, static_cast<double>(args.count) / seconds);
    close(sender);
    close(receiver);
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    std::fclose(lines);
    std::filesystem::remove_all(dir);
    return 0;
}
