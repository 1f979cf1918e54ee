#include "loopback.h"

#include <algorithm>
#include <random>
#include <thread>

namespace velmora::test {

TEST_F(LoopbackTest, CommandsSplitAtEveryByteOrMergedAreAllHandled) {
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

    std::string burst;
    expected.clear();
    for (int i = 0; i < 100; ++i) {
        burst += " ## cmdPM /:/ alicia /:/ bobby /:/ m" + std::to_string(i) + " /:/ A /:/ 9 /:/ ";
        expected += " ## +PM /$/ alicia /$/ m" + std::to_string(i) + " /$/ A /$/ 9 /$/ ";
    }
    alicia.send(burst);
    EXPECT_EQ(alicia.sync(), "");
    EXPECT_EQ(bobby.sync(), expected);
}

TEST_F(LoopbackTest, ServingGoesOnThroughJunkLostPeersAndPeersThatNeverRead) {
    addUser("alicia");
    addUser("bobby");
    start({"--max-pending-bytes", "65536", "--commands-per-second", "0", "--max-violations", "0"});
    WireClient alicia(port);
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");

    // 1 MiB of random bytes, with a few marks so that some of it looks like commands.
    WireClient junk(port);
    std::string noise(1 << 20, '\0');
    std::generate(noise.begin(), noise.end(), std::mt19937(1234));
    for (std::size_t at = 1000; at < noise.size(); at += 100000) {
        noise.replace(at, 10, " ## cmdPM ");
    }
    junk.send(noise);
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ still%%here /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(alicia.sync(), "");
    EXPECT_EQ(bobby.sync(), " ## +PM /$/ alicia /$/ still%%here /$/ A /$/ 9 /$/ ");

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

    // Logging in again elsewhere closes the older connection.
    WireClient again(port);
    again.login("alicia");
    EXPECT_TRUE(alicia.closedByServer());
    EXPECT_EQ(stop(), 0);
    EXPECT_NE(log().find("replaced by a new login"), std::string::npos);
}

} // namespace velmora::test
