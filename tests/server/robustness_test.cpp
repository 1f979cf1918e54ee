#include "loopback.h"

#include <algorithm>
#include <thread>

namespace velmora::test {

TEST_F(LoopbackTest, CommandsSplitAtEveryByteAreJoined) {
    addUser("alicia");
    addUser("bobby");
    // A long quiet time: a split command must never be taken early here.
    start({"--quiet-ms", "200", "--partial-quiet-ms", "2000", "--commands-per-second", "0"});
    WireClient alicia(port);
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");

    const std::string pair = " ## cmdPM /:/ alicia /:/ bobby /:/ split%%me /:/ Arial /:/ 10 /:/ "
                             " ## cmdPM /:/ alicia /:/ bobby /:/ 2 /:/ A /:/ 9 /:/ B";
    const std::string records = " ## +PM /$/ alicia /$/ split%%me /$/ Arial /$/ 10 /$/ "
                                " ## +PM /$/ alicia /$/ 2 /$/ A /$/ 9 /$/ B";
    std::string expected;
    for (std::size_t cut = 1; cut < pair.size(); ++cut) {
        alicia.send(pair.substr(0, cut));
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // two segments
        alicia.send(pair.substr(cut));
        expected += records;
    }
    EXPECT_EQ(alicia.sync(), "");
    EXPECT_EQ(bobby.sync(), expected);
}

TEST_F(LoopbackTest, LostPeersAndPeersThatNeverReadAreDropped) {
    addUser("alicia");
    addUser("bobby");
    start({"--max-pending-bytes", "65536", "--commands-per-second", "0", "--max-violations", "0"});
    WireClient alicia(port);
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");

    // A reset connection still ends presence and room membership.
    alicia.send(" ## cmdAB /:/ alicia /:/ bobby ## cmdCO /:/ alicia /:/ lobby");
    (void)alicia.sync();
    bobby.send(" ## cmdCO /:/ bobby /:/ lobby");
    (void)bobby.sync();
    EXPECT_EQ(alicia.sync(), " ## +CO /$/ bobby");
    bobby.abort();
    EXPECT_EQ(alicia.readThrough(" ## +LOff /$/ bobby"), " ## +CE /$/ bobby ## +LOff /$/ bobby");

    // A new bobby that never reads is dropped once his queue is full.
    WireClient slow(port, 4096);
    slow.login("bobby");
    EXPECT_EQ(alicia.sync(), " ## +LOn /$/ bobby");
    // Output that waited for the peer's window goes on once it reads.
    std::string some;
    for (int i = 0; i < 6; ++i) {
        some += " ## cmdPM /:/ alicia /:/ bobby /:/ " + std::to_string(i) + std::string(8000, 'x') +
                " /:/ A /:/ 9 /:/ ";
    }
    alicia.send(some);
    (void)alicia.sync();
    const std::string got = slow.readThrough("5" + std::string(8000, 'x') + " /$/ A /$/ 9 /$/ ");
    EXPECT_EQ(std::count(got.begin(), got.end(), '#'), 2 * 6); // six whole +PM records
    std::string pms;
    for (int i = 0; i < 20; ++i) {
        pms += " ## cmdPM /:/ alicia /:/ bobby /:/ " + std::string(8000, 'x') + " /:/ A /:/ 9 /:/ ";
    }
    bool dropped = false;
    for (int round = 0; round < 400 && !dropped; ++round) {
        alicia.send(pms);
        dropped = alicia.sync().find(" ## +LOff /$/ bobby") != std::string::npos;
    }
    EXPECT_TRUE(dropped);
    EXPECT_NE(log().find("peer not reading, dropped"), std::string::npos);
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ later /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(alicia.sync(), " ## +UNO /$/ bobby");

    EXPECT_EQ(stop(), 0);
}

TEST_F(LoopbackTest, UserAddAndFlagsReportMistakesWithTheirExitStatus) {
    addUser("alicia");
    EXPECT_EQ(runVelmorad({"useradd", "ALICIA", "other1", "--db", db}), 1);
    EXPECT_EQ(runVelmorad({"useradd", "bad name", "secret", "--db", db}), 1);
    EXPECT_EQ(runVelmorad({"useradd", "bobby", "sec:ret", "--db", db}), 1);
    EXPECT_EQ(runVelmorad({"--listen", "127.0.0.1:0", "--room-limit", "many"}), 2);
    EXPECT_EQ(runVelmorad({"--no-such-flag", "1"}), 2);

    const std::string config = dir.file("velmorad.conf");
    std::ofstream(config) << "# test settings\nprofile-site = http://conf.example\nroom-limit=7\n";
    start({"--config", config, "--room-limit", "5"});
    WireClient alicia(port);
    alicia.send(" ## cmdLI /:/ alicia /:/ secret /:/ 1.4");
    EXPECT_EQ(alicia.sync(),
              " ## +LI /$/ Login=True ## +SO /$/ http://conf.example /$/ 5 /$/ 1 ## +BL /$/ ");
    EXPECT_EQ(stop(), 0);

    // A database written by a newer server (a higher user_version in the
    // SQLite header) is refused rather than changed.
    std::fstream(db, std::ios::in | std::ios::out | std::ios::binary)
        .seekp(60)
        .write("\0\0\0\x63", 4);
    EXPECT_EQ(runVelmorad({"useradd", "bobby", "secret", "--db", db}), 1);
}

} // namespace velmora::test
