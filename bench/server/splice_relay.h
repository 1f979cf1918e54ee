// The least a relay can do for a file: no protocol, no checks, no copy
// through user space. It accepts connections two by two and joins each pair
// with splice(2) through a pipe per direction, until it is stopped. It runs
// as a child process of its own, so that its CPU is read from /proc exactly
// as the server's is.
#pragma once

#include <sched.h>
#include <sys/types.h>

namespace velmora::bench {

class SpliceRelay {
public:
    // Listens on a free loopback port; the child runs on `cpu` (every core
    // in `all` when negative).
    SpliceRelay(int cpu, const cpu_set_t& all);
    ~SpliceRelay();
    SpliceRelay(const SpliceRelay&) = delete;
    SpliceRelay& operator=(const SpliceRelay&) = delete;

    [[nodiscard]] unsigned short port() const { return port_; }
    [[nodiscard]] pid_t pid() const { return pid_; }

private:
    pid_t pid_ = -1;
    unsigned short port_ = 0;
};

} // namespace velmora::bench
