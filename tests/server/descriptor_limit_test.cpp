// A node sized for many users: accounts made in bulk, and a descriptor
// limit that cannot hold --max-connections.
#include "bulk_accounts.h"
#include "loopback.h"

#include <memory>
#include <vector>

namespace velmora::test {
namespace {

// The server says at start that its descriptor limit holds fewer connections
// than --max-connections, serves the ones that fit, and refuses the rest
// instead of failing to accept them. The users are bulk-made accounts.
TEST_F(LoopbackTest, ConnectionsPastTheDescriptorLimitAreRefusedAndSaidSo) {
    constexpr int kFit = 2000, kExtra = 100;
    bench::createAccounts(db, kFit + kExtra, 0, 0);
    rlimit own{};
    getrlimit(RLIMIT_NOFILE, &own);
    own.rlim_cur = own.rlim_max;
    setrlimit(RLIMIT_NOFILE, &own);
    ASSERT_GT(own.rlim_cur, static_cast<rlim_t>(kFit + kExtra + 64)) << "ulimit -Hn too low";
    descriptors = kFit + 64;
    start({"--max-connections", "5000", "--max-connections-per-address", "5000",
           "--max-logins-per-minute", "0", "--commands-per-second", "0"});
    EXPECT_NE(log().find("descriptor limit 2064 (hard 2064) is below --max-connections 5000 "
                         "plus 64 for the server itself: at most 2000 connections will be "
                         "accepted; raise LimitNOFILE="),
              std::string::npos)
        << log();

    std::vector<std::unique_ptr<WireClient>> clients;
    for (int k = 0; k < kFit + kExtra; ++k) {
        clients.push_back(std::make_unique<WireClient>(port));
    }
    for (int k = 0; k < kFit; ++k) {
        clients[static_cast<std::size_t>(k)]->send(" ## cmdLI /:/ " + bench::loadUserName(k) +
                                                   " /:/ " + bench::kLoadPassword + " /:/ 1.4");
    }
    for (int k = 0; k < kFit; ++k) {
        ASSERT_TRUE(clients[static_cast<std::size_t>(k)]
                        ->readThrough(" ## +LI /$/ Login=True")
                        .ends_with("Login=True"))
            << bench::loadUserName(k);
    }
    for (int k = kFit; k < kFit + kExtra; ++k) {
        EXPECT_TRUE(clients[static_cast<std::size_t>(k)]->closedByServer()) << k;
    }
    EXPECT_NE(log().find("refused: 2000 connections open"), std::string::npos);
    // The server is still whole: served users go on talking.
    clients[0]->send(" ## cmdPM /:/ mu0000000 /:/ mu0001999 /:/ hello /:/ Arial /:/ 10 /:/ B");
    EXPECT_TRUE(clients[kFit - 1]->readThrough("hello").ends_with("+PM /$/ mu0000000 /$/ hello"));
}

} // namespace
} // namespace velmora::test
