#include "loopback.h"

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

} // namespace velmora::test
