#include "splice_relay.h"

#include "process_cpu.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>

namespace velmora::bench {

namespace {

// The largest pipe an unprivileged process may ask for by default
// (/proc/sys/fs/pipe-max-size): fewer splice calls per byte.
constexpr int kPipeBytes = 1 << 20;

// Moves everything `from` sends to `to`, then passes the end of the stream
// on, so that the other direction can finish as well.
void pump(int from, int to) {
    int pipe[2];
    if (pipe2(pipe, O_CLOEXEC) != 0) {
        return;
    }
    fcntl(pipe[1], F_SETPIPE_SZ, kPipeBytes);
    for (;;) {
        ssize_t in = splice(from, nullptr, pipe[1], nullptr, kPipeBytes, SPLICE_F_MOVE);
        if (in <= 0) {
            break;
        }
        while (in > 0) {
            const ssize_t out =
                splice(pipe[0], nullptr, to, nullptr, static_cast<size_t>(in), SPLICE_F_MOVE);
            if (out <= 0) {
                in = -1;
                break;
            }
            in -= out;
        }
        if (in < 0) {
            break;
        }
    }
    shutdown(to, SHUT_WR);
    close(pipe[0]);
    close(pipe[1]);
}

[[noreturn]] void serve(int listener) {
    std::signal(SIGPIPE, SIG_IGN);
    for (;;) {
        const int a = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        const int b = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (a < 0 || b < 0) {
            _exit(1);
        }
        std::thread back(pump, b, a);
        pump(a, b);
        back.join();
        close(a);
        close(b);
    }
}

} // namespace

SpliceRelay::SpliceRelay(int cpu, const cpu_set_t& all) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof addr;
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&addr), size) != 0 ||
        listen(listener, 8) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&addr), &size) != 0) {
        throw std::runtime_error("the relay cannot listen");
    }
    port_ = ntohs(addr.sin_port);
    std::fflush(nullptr); // or the child would print it again
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // no relay outlives the benchmark
        try {
            pinTo(cpu, all);
        } catch (...) {
            _exit(1);
        }
        serve(listener);
    }
    close(listener);
    if (pid_ < 0) {
        throw std::runtime_error("cannot start the relay");
    }
}

SpliceRelay::~SpliceRelay() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
}

} // namespace velmora::bench
