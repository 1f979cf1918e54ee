#include "machine_limits.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

namespace velmora::bench {

namespace {

std::string pathOf(std::string key) {
    std::replace(key.begin(), key.end(), '.', '/');
    return "/proc/sys/" + key;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string read(const std::string& key) {
    std::string value = readFile(pathOf(key));
    std::replace(value.begin(), value.end(), '\t', ' ');
    while (!value.empty() && value.back() == '\n') {
        value.pop_back();
    }
    return value;
}

bool write(const std::string& key, const std::string& value) {
    std::ofstream out(pathOf(key));
    out << value << "\n";
    out.close();
    return !out.fail();
}

} // namespace

MachineLimits::MachineLimits(int conns) : root_(geteuid() == 0) {
    // Each process holds one descriptor per connection, and a few of its own.
    const long files = conns + 100L;
    atLeast("fs.nr_open", files);
    atLeast("fs.file-max", 2 * files + 65536);
    atLeast("net.core.somaxconn", 65535);
    atLeast("net.ipv4.tcp_max_syn_backlog", 65535);
    // Both processes inherit this: the server is started from here.
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const auto want = static_cast<rlim_t>(files);
    if (limit.rlim_max < want && root_) {
        limit.rlim_max = want;
    }
    limit.rlim_cur = std::min(std::max(limit.rlim_cur, want), limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_cur < want) {
        short_ = true;
        std::fprintf(stderr,
                     "  descriptors: ulimit -n is %lu, %ld needed: ulimit -Hn %ld (raising the "
                     "hard limit takes CAP_SYS_RESOURCE; --conns %ld fits)\n",
                     static_cast<unsigned long>(limit.rlim_cur), files, files,
                     static_cast<long>(limit.rlim_max) - 100);
    }
    if (short_) {
        restore(); // the destructor of an object never made does not run
        throw std::runtime_error(
            root_ ? "the machine's limits are below this run and could not be raised here"
                  : "the machine's limits are below this run; raise them as above, or run "
                    "as root to have them raised for the run");
    }
}

MachineLimits::~MachineLimits() {
    restore();
}

void MachineLimits::restore() {
    for (auto it = saved_.rbegin(); it != saved_.rend(); ++it) {
        write(it->first, it->second);
        std::fprintf(stderr, "restored %s = %s\n", it->first.c_str(), it->second.c_str());
    }
    saved_.clear();
}

void MachineLimits::atLeast(const std::string& key, long wanted) {
    if (std::atol(read(key).c_str()) < wanted) {
        change(key, std::to_string(wanted));
    }
}

void MachineLimits::change(const std::string& key, const std::string& value) {
    const std::string old = read(key);
    if (root_ && write(key, value)) {
        saved_.emplace_back(key, old);
        std::fprintf(stderr, "raised %s from %s to %s (sysctl -w %s=\"%s\" puts it back)\n",
                     key.c_str(), old.c_str(), value.c_str(), key.c_str(), old.c_str());
        return;
    }
    std::fprintf(stderr, "  %s is %s: sysctl -w %s=\"%s\"\n", key.c_str(), old.c_str(), key.c_str(),
                 value.c_str());
    short_ = true;
}

} // namespace velmora::bench
