// Two real velmorad nodes on one PostgreSQL database and one redis-server:
// what a client sees must not depend on which node each user is on.
#include "loopback.h"
#include "postgres_cluster.h"
#include "redis_server.h"

#include <iostream>
#include <memory>

namespace velmora::test {

namespace {

struct Node {
    pid_t pid = -1;
    unsigned short port = 0;
    std::string logPath;

    Node(const std::string& name, const std::string& db, const std::string& bus, const TempDir& dir)
        : logPath(dir.file(name + ".log")) {
        int out[2];
        EXPECT_EQ(pipe(out), 0);
        const int log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        pid = spawn({"--listen", "127.0.0.1:0", "--db", db, "--bus", bus, "--node", name,
                     "--heartbeat-ms", "100", "--hash-cost", "fast", "--room-limit", "2"},
                    out[1], log);
        close(out[1]);
        close(log);
        FILE* lines = fdopen(out[0], "r");
        EXPECT_EQ(std::fscanf(lines, "listening on %*[^:]:%hu", &port), 1);
        std::fclose(lines);
    }
    // A node that was not killed must stop cleanly on SIGTERM.
    ~Node() {
        if (pid > 0) {
            EXPECT_EQ(kill(SIGTERM), 0) << logPath;
        }
    }
    int kill(int signal) {
        ::kill(pid, signal);
        return waitFor(std::exchange(pid, -1));
    }
    // Waits up to 10 s for the log to hold `text`.
    [[nodiscard]] bool logged(const std::string& text) const {
        for (int tries = 0; tries < 1000; ++tries) {
            std::ifstream in(logPath);
            if (std::string(std::istreambuf_iterator<char>(in), {}).find(text) !=
                std::string::npos) {
                return true;
            }
            usleep(10000);
        }
        return false;
    }
};

class ClusterTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!RedisServer::installed()) {
            GTEST_SKIP() << RedisServer::kMissing;
        }
        if (!PostgresCluster::get().running()) {
            GTEST_SKIP() << PostgresCluster::kMissing;
        }
        db = PostgresCluster::get().newDatabase();
        for (const char* name : {"alice1", "bobby", "carol", "dave1"}) {
            ASSERT_EQ(runVelmorad({"useradd", name, "secret", "--db", db, "--hash-cost", "fast"}),
                      0);
        }
        redis = std::make_unique<RedisServer>();
        a = std::make_unique<Node>("a", db, redis->url(), dir);
        b = std::make_unique<Node>("b", db, redis->url(), dir);
    }

    void TearDown() override {
        for (const Node* node : {a.get(), b.get()}) {
            if (HasFailure() && node) {
                std::ifstream in(node->logPath);
                std::cerr << node->logPath << ":\n" << in.rdbuf();
            }
        }
    }

    TempDir dir;
    std::string db;
    std::unique_ptr<RedisServer> redis;
    std::unique_ptr<Node> a, b;
};

const std::string kPm = " /:/ Arial /:/ 10 /:/ B";

} // namespace

TEST_F(ClusterTest, UsersOnTwoNodesTalkMeetAndReplaceEachOther) {
    WireClient alice(a->port), carol(a->port), bobby(b->port);
    alice.login("alice1");
    alice.send(" ## cmdAB /:/ alice1 /:/ bobby");
    EXPECT_EQ(alice.sync(), " ## +BL /$/ f %/ bobby");
    carol.login("carol");
    bobby.login("bobby");
    EXPECT_EQ(alice.readThrough(" ## +LOn /$/ bobby"), " ## +LOn /$/ bobby");
    bobby.send(" ## cmdAB /:/ bobby /:/ ALICE1");
    EXPECT_EQ(bobby.sync(), " ## +BL /$/ n %/ alice1");

    alice.send(" ## cmdPM /:/ alice1 /:/ Bobby /:/ hi%%there" + kPm);
    EXPECT_EQ(bobby.readThrough(" /$/ B"),
              " ## +PM /$/ alice1 /$/ hi%%there /$/ Arial /$/ 10 /$/ B");

    // One room, its limit of 2 held across nodes.
    alice.send(" ## cmdCO /:/ alice1 /:/ lounge");
    EXPECT_EQ(alice.sync(), " ## +CDet /$/  :/ alice1");
    bobby.send(" ## cmdCO /:/ bobby /:/ LOUNGE");
    EXPECT_EQ(bobby.sync(), " ## +CDet /$/  :/ alice1 :/ bobby");
    EXPECT_EQ(alice.readThrough(" ## +CO /$/ bobby"), " ## +CO /$/ bobby");
    carol.send(" ## cmdCO /:/ carol /:/ lounge");
    EXPECT_EQ(carol.sync(), " ## +CDet /$/ ConfFull");
    bobby.send(" ## cmdCM /:/ bobby /:/ lounge /:/ yo" + kPm);
    const std::string said = " ## +CM /$/ bobby /$/ yo /$/ Arial /$/ 10 /$/ B";
    EXPECT_EQ(bobby.readThrough(said), said);
    EXPECT_EQ(alice.readThrough(said), said);
    bobby.send(" ## cmdCI /:/ bobby /:/ lounge /:/  :/ carol :/ alice1 :/ nobody1 /:/ come");
    EXPECT_EQ(carol.readThrough(" /$/ come"), " ## +CI /$/ bobby /$/ lounge /$/ come");

    // Kept for a user logged in nowhere, handed out on whichever node.
    alice.send(" ## cmdPM /:/ alice1 /:/ dave1 /:/ later" + kPm);
    EXPECT_EQ(alice.sync(), " ## +UNO /$/ dave1");
    WireClient dave(b->port);
    dave.send(" ## cmdLI /:/ dave1 /:/ secret /:/ 1.4");
    EXPECT_NE(dave.readThrough(" :/ alice1 :/ ").find(" ## +OM /$/ 1 :%: later :/ alice1 :/ "),
              std::string::npos);

    // A second login on node a ends the session on node b.
    WireClient again(a->port);
    again.login("bobby");
    EXPECT_TRUE(bobby.closedByServer());
    const std::string seen = alice.readThrough(" ## +CE /$/ bobby");
    EXPECT_NE(seen.find(" ## +LOff /$/ bobby ## +LOn /$/ bobby"), std::string::npos) << seen;
    alice.send(" ## cmdPM /:/ alice1 /:/ bobby /:/ same%%node" + kPm);
    EXPECT_EQ(again.readThrough(" /$/ B"),
              " ## +PM /$/ alice1 /$/ same%%node /$/ Arial /$/ 10 /$/ B");
}

TEST_F(ClusterTest, AFileOfferedAcrossNodesIsFetchedFromTheSendersNode) {
    WireClient alice(a->port), bobby(b->port);
    alice.login("alice1");
    bobby.login("bobby");
    const std::string id = "3f9c0e7a5b1d2468ace0f13579bdf024";
    const std::string held = id + "@127.0.0.1/" + std::to_string(a->port) + "/";
    alice.send(" ## cmdFR /:/ alice1 /:/ bobby /:/ r.pdf /:/ 10 /:/ " + id);
    EXPECT_EQ(bobby.readThrough(held), " ## +FR /$/ alice1 /$/ r.pdf /$/ 10 /$/ " + held);
    WireClient r(a->port), s(a->port);
    r.send(" ## cmdFX /:/ " + id + " /:/ R /:/ 4");
    EXPECT_EQ(alice.readThrough(id + " /$/ 4"), " ## +FA /$/ SF /$/ " + id + " /$/ 4");
    s.send(" ## cmdFX /:/ " + id + " /:/ S /:/ 0");
    EXPECT_EQ(r.readThrough("GO /$/ 4"), " ## +FX /$/ GO /$/ 4");
    EXPECT_EQ(s.readThrough("GO /$/ 4"), " ## +FX /$/ GO /$/ 4");
    const std::string rest = "456789" + std::string(64, 'd');
    s.send(rest);
    EXPECT_EQ(r.readExactly(rest.size()), rest);
    r.send(" ## +FV /$/ OK");
    EXPECT_EQ(s.readExactly(14), " ## +FV /$/ OK");

    // Declined on bobby's node: alice hears it, and her node forgets it.
    const std::string other = "00000000000000000000000000000abc";
    alice.send(" ## cmdFR /:/ alice1 /:/ bobby /:/ r.pdf /:/ 10 /:/ " + other);
    (void)bobby.readThrough(other + "@");
    bobby.send(" ## cmdFA /:/ bobby /:/ alice1 /:/ " + other + "@127.0.0.1/" +
               std::to_string(a->port) + "/ /:/ FD");
    EXPECT_EQ(alice.readThrough("declined"), " ## +FA /$/ FD /$/ " + other + " /$/ declined");
    WireClient late(a->port);
    late.send(" ## cmdFX /:/ " + other + " /:/ R /:/ 0");
    EXPECT_EQ(late.readThrough("unknown"), " ## +FX /$/ NO /$/ unknown");
}

TEST_F(ClusterTest, AKilledNodesUsersGoOfflineAndTheirMessagesWait) {
    WireClient alice(a->port), bobby(b->port);
    alice.login("alice1");
    alice.send(" ## cmdAB /:/ alice1 /:/ bobby");
    (void)alice.sync();
    bobby.login("bobby");
    (void)alice.readThrough(" ## +LOn /$/ bobby");
    alice.send(" ## cmdCO /:/ alice1 /:/ lounge");
    (void)alice.sync();
    bobby.send(" ## cmdCO /:/ bobby /:/ lounge");
    (void)alice.readThrough(" ## +CO /$/ bobby");

    EXPECT_EQ(b->kill(SIGKILL), 128 + SIGKILL);
    // Sent at once: nobody takes it on node b's channel any more.
    alice.send(" ## cmdPM /:/ alice1 /:/ bobby /:/ are%%you%%there" + kPm);
    EXPECT_EQ(alice.readThrough(" ## +UNO /$/ bobby"), " ## +UNO /$/ bobby");
    const std::string gone = alice.readThrough(" ## +LOff /$/ bobby");
    EXPECT_NE(gone.find(" ## +CE /$/ bobby"), std::string::npos) << gone;
    alice.send(" ## cmdPM /:/ alice1 /:/ bobby /:/ stored" + kPm);
    EXPECT_EQ(alice.sync(), " ## +UNO /$/ bobby");

    WireClient back(a->port);
    back.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    const std::string mail = back.readThrough(" :/ alice1 :/ ");
    EXPECT_NE(mail.find(" ## +OM /$/ 2 :%: are%%you%%there :/ alice1 :/ "), std::string::npos);
    EXPECT_NE(back.readThrough(" :/ alice1 :/ ").find("stored"), std::string::npos);
}

TEST_F(ClusterTest, NodesServeTheirOwnUsersWhileRedisIsAwayAndCatchUpAfter) {
    WireClient alice(a->port), carol(a->port), bobby(b->port);
    alice.login("alice1");
    bobby.login("bobby");
    bobby.send(" ## cmdAB /:/ bobby /:/ carol");
    EXPECT_EQ(bobby.sync(), " ## +BL /$/ f %/ carol");

    redis->stop();
    EXPECT_TRUE(a->logged("bus out of reach"));
    carol.login("carol");
    alice.send(" ## cmdPM /:/ alice1 /:/ carol /:/ still%%here" + kPm);
    EXPECT_EQ(carol.readThrough(" /$/ B"),
              " ## +PM /$/ alice1 /$/ still%%here /$/ Arial /$/ 10 /$/ B");

    redis->start();
    EXPECT_TRUE(a->logged("bus reachable again"));
    EXPECT_TRUE(b->logged("bus reachable again"));
    // Carol logged in while node b could not hear of it.
    EXPECT_EQ(bobby.readThrough(" ## +LOn /$/ carol"), " ## +LOn /$/ carol");
    alice.send(" ## cmdPM /:/ alice1 /:/ bobby /:/ across" + kPm);
    EXPECT_EQ(bobby.readThrough(" /$/ B"), " ## +PM /$/ alice1 /$/ across /$/ Arial /$/ 10 /$/ B");
}

} // namespace velmora::test
