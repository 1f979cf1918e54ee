// A redis-server of the test's own on a Unix socket in a fresh folder (no
// TCP port, nothing saved to disk), stopped with the test.
#pragma once

#include "temp_dir.h"

#include <chrono>
#include <csignal>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace velmora::test {

class RedisServer {
public:
    static constexpr const char* kMissing = "redis-server not found: cluster runs skipped";
    [[nodiscard]] static bool installed() {
        return std::system("command -v redis-server >/dev/null") == 0;
    }

    RedisServer() { start(); }
    ~RedisServer() { stop(); }
    RedisServer(const RedisServer&) = delete;
    RedisServer& operator=(const RedisServer&) = delete;

    [[nodiscard]] std::string url() const { return "unix://" + socket_; }

    // Starts it (again, empty) and waits until it takes connections.
    void start() {
        pid_ = fork();
        if (pid_ == 0) {
            const std::string log = dir_.file("redis.log");
            execlp("redis-server", "redis-server", "--port", "0", "--unixsocket", socket_.c_str(),
                   "--save", "", "--appendonly", "no", "--logfile", log.c_str(), nullptr);
            _exit(127);
        }
        for (int tries = 0; tries < 500 && !accepting(); ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    void stop() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            pid_ = -1;
            ::unlink(socket_.c_str());
        }
    }

private:
    [[nodiscard]] bool accepting() const {
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        socket_.copy(addr.sun_path, sizeof addr.sun_path - 1);
        const bool ok = ::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
        ::close(fd);
        return ok;
    }

    TempDir dir_;
    std::string socket_ = dir_.file("redis.sock");
    pid_t pid_ = -1;
};

} // namespace velmora::test
