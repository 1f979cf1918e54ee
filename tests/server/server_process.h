// Runs the real velmorad binary (path from $VELMORAD) for a test.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace velmora::test {

// The built server, from the environment CTest sets.
[[nodiscard]] std::string velmoradPath();

// Runs `velmorad args...` to completion; returns its exit status.
int runVelmorad(const std::vector<std::string>& args);

class ServerProcess {
public:
    // Starts the server on 127.0.0.1 with a free port and waits for its
    // "listening on" line. Its log goes to `logPath`.
    ServerProcess(const std::string& db, const std::string& logPath,
                  const std::vector<std::string>& extra = {});
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    [[nodiscard]] unsigned short port() const { return port_; }
    // SIGTERM and wait; returns the exit status.
    int stop();
    // SIGKILL and wait: no chance to clean up.
    void kill();

private:
    pid_t pid_ = -1;
    unsigned short port_ = 0;
};

} // namespace velmora::test
