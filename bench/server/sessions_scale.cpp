#include "sessions_scale.h"

#include "bulk_accounts.h"
#include "core/hub.h"
#include "store/sqlite_store.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace velmora::bench {

namespace {

namespace core = server::core;
using Clock = std::chrono::steady_clock;

long rssKb() {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line) && !line.starts_with("VmRSS:")) {
    }
    return std::atol(line.c_str() + std::min<std::size_t>(line.size(), 6));
}

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// One login as the server carries it out: the command, the password check
// (in line, as the server does at the cheap cost), the mailbox. The records
// the hub produced.
std::size_t logIn(core::Hub& hub, const core::PasswordHasher& hasher, core::ConnId conn,
                  const std::string& name) {
    hub.connected(conn, "10." + std::to_string(conn >> 16 & 255) + "." +
                            std::to_string(conn >> 8 & 255) + "." + std::to_string(conn & 255));
    auto fx = hub.handle(conn, {"cmdLI", name, kLoadPassword, "1.4"});
    std::size_t records = fx.out.size();
    for (const auto& job : fx.passwords) {
        const auto done = hub.passwordDone({job, hasher.verify(job.hash, job.password), {}});
        records += done.out.size();
        for (const auto id : done.mailboxes) {
            records += hub.openMailbox(id).out.size();
        }
    }
    return records;
}

} // namespace

int runSessions(int users, int watchers) {
    const auto dir =
        std::filesystem::temp_directory_path() / ("velmorad-sessions-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const double setup = createAccounts(dir / "load.db", users, 0, watchers);
    std::printf("setup: %d accounts in %.1f s, %d of them watching %s\n", users, setup,
                std::min(users, watchers), kPopularUser);
    int status = 0;
    {
        server::store::SqliteStore store((dir / "load.db").string());
        std::ofstream discard("/dev/null");
        core::Log log(discard);
        core::CoreConfig config;
        config.hashCost = core::HashCost::Fast;
        config.maxLoginsPerMinute = 0;
        core::Hub hub(store, config, log);
        const core::PasswordHasher hasher(core::HashCost::Fast);

        const long rss0 = rssKb();
        long rssHalf = 0;
        const auto start = Clock::now();
        double firstTenth = 0, lastTenth = 0;
        auto tenth = start;
        for (int k = 0; k < users; ++k) {
            if (k == users / 2) {
                rssHalf = rssKb();
            }
            if (k == users / 10) {
                firstTenth = since(tenth);
            }
            if (k == users - users / 10) {
                tenth = Clock::now();
            }
            logIn(hub, hasher, static_cast<core::ConnId>(k + 1), loadUserName(k));
        }
        lastTenth = since(tenth);
        const double loginS = since(start);
        const long rss = rssKb();
        const auto held = hub.localUsers().size();

        // The login timeout's sweep with every user held and none anonymous.
        const auto sweepStart = Clock::now();
        const auto anonymous = hub.anonymousSince(core::Hub::Clock::now() + std::chrono::hours(1));
        const double sweepUs = since(sweepStart) * 1e6;

        // The popular user's login and logout, heard by its online watchers.
        std::vector<double> cycles;
        std::size_t heard = 0;
        const auto popular = static_cast<core::ConnId>(users + 1);
        for (int i = 0; i < 10; ++i) {
            const auto cycleStart = Clock::now();
            heard = logIn(hub, hasher, popular + static_cast<core::ConnId>(i), kPopularUser);
            heard += hub.disconnected(popular + static_cast<core::ConnId>(i)).out.size();
            cycles.push_back(since(cycleStart) * 1e3);
        }
        std::sort(cycles.begin(), cycles.end());

        const double perSession = static_cast<double>(rss - rss0) / users;
        const double marginal = static_cast<double>(rss - rssHalf) / (users - users / 2);
        std::printf("sessions: %zu of %d held; logins %.1f s (first tenth %.2f s, last tenth "
                    "%.2f s); RSS %ld -> %ld kB, %.3f kB a session, %.3f kB for each of the "
                    "second half; sweep %.1f us; %s's login and logout %.2f ms (median of 10), "
                    "%zu records\n",
                    held, users, loginS, firstTenth, lastTenth, rss0, rss, perSession, marginal,
                    sweepUs, kPopularUser, cycles[cycles.size() / 2], heard);
        std::printf("RESULT mode=sessions users=%d held=%zu login_s=%.1f first_tenth_s=%.2f "
                    "last_tenth_s=%.2f rss_per_session_kb=%.3f marginal_kb=%.3f sweep_us=%.1f "
                    "popular_cycle_ms=%.2f\n",
                    users, held, loginS, firstTenth, lastTenth, perSession, marginal, sweepUs,
                    cycles[cycles.size() / 2]);
        status = held == static_cast<std::size_t>(users) && anonymous.empty() ? 0 : 1;
    }
    std::filesystem::remove_all(dir);
    return status;
}

} // namespace velmora::bench
