// How fast one file crosses velmorad, and what it costs the server: a
// sender and a receiver on loopback, each with its session and its data
// connection, pass a file held in memory through a velmorad of the
// benchmark's own, in three cases:
//
//   plain  through the chat port
//   tls    through the TLS port, with a self-signed certificate made at start
//   bare   through a relay with no protocol that joins two sockets with
//          splice(2): the limit, measured in the same sitting
//
//   bench_file_transfer [--bytes N[K|M|G]] [--cases plain,tls,bare] [--runs R]
//       [--server PATH] [--server-arg FLAG]... [--server-cpu C] [--cpu C]
//
// One line per case and run:
//   RESULT case=plain mib_per_s=N server_cpu_s_per_gib=N
// Exits 1 when a transfer failed or the receiver did not count exactly the
// bytes sent, 2 when the benchmark itself could not run.
#include "process_cpu.h"
#include "self_signed.h"
#include "splice_relay.h"
#include "stream_link.h"
#include "transfer_ends.h"
#include "velmorad_process.h"

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
namespace vb = velmora::bench;

constexpr double kMiB = 1024.0 * 1024.0;
constexpr double kGiB = 1024.0 * kMiB;
constexpr std::uint64_t kServerMaxFile = 4ULL << 30;
constexpr const char* kSender = "alice";
constexpr const char* kReceiver = "bobby";
constexpr const char* kPassword = "filepw1";

struct Args {
    std::string server =
#ifdef VELMORAD_DEFAULT_PATH
        VELMORAD_DEFAULT_PATH;
#else
        "velmorad";
#endif
    std::uint64_t bytes = 1ULL << 30;
    std::vector<std::string> cases = {"plain", "tls", "bare"};
    std::vector<std::string> serverArgs;
    int runs = 1, serverCpu = -1, cpu = -1;
};

[[noreturn]] void usage(const std::string& why) {
    std::fprintf(stderr,
                 "bench_file_transfer: %s\n"
                 "usage: bench_file_transfer [--bytes N[K|M|G]] [--cases plain,tls,bare] "
                 "[--runs R]\n"
                 "       [--server PATH] [--server-arg FLAG]... [--server-cpu C] [--cpu C]\n",
                 why.c_str());
    std::exit(2);
}

std::uint64_t parseBytes(const std::string& text) {
    char* end = nullptr;
    std::uint64_t value = std::strtoull(text.c_str(), &end, 10);
    const std::string unit = end;
    const int shift = unit.empty()  ? 0
                      : unit == "K" ? 10
                      : unit == "M" ? 20
                      : unit == "G" ? 30
                                    : -1;
    if (end == text.c_str() || shift < 0 || value == 0) {
        usage("--bytes needs a count above 0, with K, M or G for KiB, MiB or GiB");
    }
    return value << shift;
}

Args parse(int argc, char** argv) {
    Args a;
    for (int i = 1; i < argc; i += 2) {
        const std::string flag = argv[i];
        if (i + 1 >= argc) {
            usage(flag + " needs a value");
        }
        const std::string value = argv[i + 1];
        if (flag == "--bytes") {
            a.bytes = parseBytes(value);
        } else if (flag == "--cases") {
            a.cases.clear();
            std::istringstream list(value);
            for (std::string name; std::getline(list, name, ',');) {
                if (name != "plain" && name != "tls" && name != "bare") {
                    usage("no case \"" + name + "\"; the cases are plain, tls and bare");
                }
                a.cases.push_back(name);
            }
        } else if (flag == "--runs" || flag == "--server-cpu" || flag == "--cpu") {
            (flag == "--runs"  ? a.runs
             : flag == "--cpu" ? a.cpu
                               : a.serverCpu) = std::atoi(value.c_str());
        } else if (flag == "--server") {
            a.server = value;
        } else if (flag == "--server-arg") {
            a.serverArgs.push_back(value);
        } else {
            usage("unknown flag " + flag);
        }
    }
    if (a.runs < 1 || a.cases.empty()) {
        usage("at least one run of one case");
    }
    return a;
}

double ownCpuSeconds() {
    rusage self{};
    getrusage(RUSAGE_SELF, &self);
    return static_cast<double>(self.ru_utime.tv_sec + self.ru_stime.tv_sec) +
           static_cast<double>(self.ru_utime.tv_usec + self.ru_stime.tv_usec) / 1e6;
}

// Runs one transfer and prints its lines; `serverPid` is whatever carries it.
void measure(const std::string& name, std::uint64_t bytes, pid_t serverPid,
             const std::function<vb::TransferFigures()>& transfer) {
    const double serverBefore = vb::cpuSecondsOf(serverPid);
    const double ownBefore = ownCpuSeconds();
    const vb::TransferFigures figures = transfer();
    const double serverCpu = vb::cpuSecondsOf(serverPid) - serverBefore;
    const double ownCpu = ownCpuSeconds() - ownBefore;
    const double size = static_cast<double>(bytes);
    std::printf("%s: %.0f MiB in %.3f s; server %.2f s CPU, endpoints %.2f s CPU\n", name.c_str(),
                size / kMiB, figures.seconds, serverCpu, ownCpu);
    std::printf("RESULT case=%s mib_per_s=%.0f server_cpu_s_per_gib=%.3f\n", name.c_str(),
                size / kMiB / figures.seconds, serverCpu / (size / kGiB));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    const Args args = parse(argc, argv);
    // OpenSSL writes with write(2): a connection the server closed must fail
    // the case, not end the benchmark.
    std::signal(SIGPIPE, SIG_IGN);
    cpu_set_t everyCpu;
    sched_getaffinity(0, sizeof everyCpu, &everyCpu);
    const fs::path dir = fs::temp_directory_path() / ("velmorad-file-" + std::to_string(getpid()));
    int status = 0;
    try {
        if (args.cpu >= 0) {
            vb::pinTo(args.cpu, everyCpu);
        }
        fs::create_directories(dir);
        const vb::CertificateFiles certificate = vb::makeSelfSigned(dir);
        const vb::TlsTrust trust(certificate.certificate);
        vb::VelmoradSetup setup{args.server,     dir / "file.db", certificate.certificate,
                                certificate.key, args.serverArgs, args.serverCpu};
        // The server refuses files past 4 GiB unless told otherwise.
        if (args.bytes > kServerMaxFile) {
            setup.extra.insert(setup.extra.begin(),
                               {"--file-max-bytes", std::to_string(args.bytes)});
        }
        vb::addAccount(setup, kSender, kPassword);
        vb::addAccount(setup, kReceiver, kPassword);

        for (int run = 0; run < args.runs; ++run) {
            for (const auto& name : args.cases) {
                try {
                    if (name == "bare") {
                        const vb::SpliceRelay relay(args.serverCpu, everyCpu);
                        measure(name, args.bytes, relay.pid(),
                                [&] { return vb::runThroughBareRelay(relay.port(), args.bytes); });
                        continue;
                    }
                    const vb::VelmoradProcess server(setup, everyCpu);
                    const bool tls = name == "tls";
                    vb::ServerTransfer transfer(tls ? server.tlsPort() : server.port(),
                                                tls ? &trust : nullptr, args.bytes, kSender,
                                                kReceiver, kPassword);
                    measure(name, args.bytes, server.pid(), [&] { return transfer.run(); });
                } catch (const vb::LinkError& e) {
                    std::printf("%s: FAILED: %s\n", name.c_str(), e.what());
                    status = 1;
                }
            }
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_file_transfer: %s\n", e.what());
        status = 2;
    }
    std::error_code ignored;
    fs::remove_all(dir, ignored);
    return status;
}
