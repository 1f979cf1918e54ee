#include "velmorad_process.h"

#include "process_cpu.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace velmora::bench {

namespace {

// Runs `args[0]` with `args`, its output to `out`, on `cpu`; returns its id.
pid_t spawn(std::vector<std::string> args, const std::filesystem::path& out, int cpu,
            const cpu_set_t& all) {
    std::fflush(nullptr); // or the child would print it again
    const pid_t pid = fork();
    if (pid == 0) {
        // A benchmark that dies leaves no server behind.
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        try {
            pinTo(cpu, all);
        } catch (...) {
            _exit(126);
        }
        std::freopen(out.c_str(), "w", stdout);
        std::freopen("/dev/null", "w", stderr);
        std::vector<char*> argv;
        for (auto& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    if (pid < 0) {
        throw std::runtime_error("cannot start " + args[0]);
    }
    return pid;
}

} // namespace

void addAccount(const VelmoradSetup& setup, const std::string& name, const std::string& password) {
    cpu_set_t all;
    sched_getaffinity(0, sizeof all, &all);
    const pid_t pid = spawn({setup.program, "useradd", name, password, "--db",
                             setup.database.string(), "--hash-cost", "fast"},
                            "/dev/null", -1, all);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("velmorad useradd " + name + " failed");
    }
}

VelmoradProcess::VelmoradProcess(const VelmoradSetup& setup, const cpu_set_t& all) {
    const auto out = setup.database.parent_path() / "velmorad.out";
    std::vector<std::string> args = {setup.program,
                                     "--listen",
                                     "127.0.0.1:0",
                                     "--tls-listen",
                                     "127.0.0.1:0",
                                     "--tls-cert",
                                     setup.certificate.string(),
                                     "--tls-key",
                                     setup.key.string(),
                                     "--db",
                                     setup.database.string(),
                                     "--hash-cost",
                                     "fast"};
    args.insert(args.end(), setup.extra.begin(), setup.extra.end());
    pid_ = spawn(args, out, setup.cpu, all);
    // One line per port, the plain one first.
    for (int tries = 0; tries < 200 && tlsPort_ == 0; ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::ifstream in(out);
        std::string plain, tls;
        unsigned p = 0, t = 0;
        if (std::getline(in, plain) && std::getline(in, tls) &&
            std::sscanf(plain.c_str(), "listening on 127.0.0.1:%u", &p) == 1 &&
            std::sscanf(tls.c_str(), "listening on 127.0.0.1:%u (TLS)", &t) == 1) {
            port_ = static_cast<unsigned short>(p);
            tlsPort_ = static_cast<unsigned short>(t);
        }
    }
    if (tlsPort_ == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, nullptr, 0);
        throw std::runtime_error("velmorad did not start: " + setup.program);
    }
}

VelmoradProcess::~VelmoradProcess() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
}

} // namespace velmora::bench
