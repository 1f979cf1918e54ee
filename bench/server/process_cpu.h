// Where a process of the file benchmark runs and what it has cost so far.
#pragma once

#include <sched.h>
#include <sys/types.h>

namespace velmora::bench {

// Pins the calling thread (and what it starts later) to `cpu`, or back to
// every core in `all` when `cpu` is negative. Throws std::runtime_error.
void pinTo(int cpu, const cpu_set_t& all);

// User plus system time of every thread of `pid` so far, in seconds, from
// /proc/PID/stat (ticks of 1/CLK_TCK s).
[[nodiscard]] double cpuSecondsOf(pid_t pid);

} // namespace velmora::bench
