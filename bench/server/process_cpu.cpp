#include "process_cpu.h"

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace velmora::bench {

void pinTo(int cpu, const cpu_set_t& all) {
    cpu_set_t one;
    CPU_ZERO(&one);
    if (cpu >= 0) {
        CPU_SET(cpu, &one);
    }
    if (sched_setaffinity(0, sizeof one, cpu >= 0 ? &one : &all) != 0) {
        throw std::runtime_error("cannot pin to cpu " + std::to_string(cpu));
    }
}

double cpuSecondsOf(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    const std::string stat((std::istreambuf_iterator<char>(in)), {});
    const auto nameEnd = stat.rfind(')');
    if (nameEnd == std::string::npos) {
        throw std::runtime_error("no /proc entry for process " + std::to_string(pid));
    }
    // Fields 14 and 15, counted after the name, which may hold spaces.
    unsigned long user = 0, system = 0;
    std::sscanf(stat.c_str() + nameEnd + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu",
                &user, &system);
    return static_cast<double>(user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

} // namespace velmora::bench
