// A velmorad of the file benchmark's own: a scratch database with the two
// accounts, both ports (plain and TLS) on free loopback ports.
#pragma once

#include <sched.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

namespace velmora::bench {

struct VelmoradSetup {
    std::string program;            // the velmorad to run
    std::filesystem::path database; // made by addAccount
    std::filesystem::path certificate, key;
    std::vector<std::string> extra; // further flags
    int cpu = -1;                   // negative: every core
};

// `velmorad useradd` with a cheap hash; throws std::runtime_error.
void addAccount(const VelmoradSetup& setup, const std::string& name, const std::string& password);

class VelmoradProcess {
public:
    // Starts it and waits for both ports; throws std::runtime_error.
    VelmoradProcess(const VelmoradSetup& setup, const cpu_set_t& all);
    ~VelmoradProcess();
    VelmoradProcess(const VelmoradProcess&) = delete;
    VelmoradProcess& operator=(const VelmoradProcess&) = delete;

    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] unsigned short port() const { return port_; }
    [[nodiscard]] unsigned short tlsPort() const { return tlsPort_; }

private:
    pid_t pid_ = -1;
    unsigned short port_ = 0, tlsPort_ = 0;
};

} // namespace velmora::bench
