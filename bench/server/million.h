// Many logged-in users held on one velmorad: how far one node goes, and what
// each held user costs the server process and the kernel.
#pragma once

#include <sched.h>

#include <string>

namespace velmora::bench {

struct MillionArgs {
    std::string server; // the velmorad to run
    int conns = 1'000'000;
    // Accounts in the store; users past `conns` stay offline.
    int accounts = 0;
    int burst = 512; // connections connecting or logging in at once
    double rate = 10000;
    double duration = 10;
    int serverCpu = -1, cpu = -1;
    // Users whose buddy list holds the one user who logs in and out.
    int watchers = 1000;
};

// Runs the whole measurement; the process's exit status.
int runMillion(const MillionArgs& args, const cpu_set_t& everyCpu);

} // namespace velmora::bench
