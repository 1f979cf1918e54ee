#include "loopback_fixture.h"

#include <random>
#include <thread>

namespace velmora::test {

namespace {
std::string repeated(const std::string& text, std::size_t times) {
    std::string out;
    for (std::size_t i = 0; i < times; ++i) {
        out += text;
    }
    return out;
}
} // namespace

TEST_F(LoopbackTest, CommandsSplitAtEveryByteOrMergedAreAllHandled) {
    addUser("alicia", "secret");
    addUser("bobby", "secret");
    // Generous quiet times: a split command must never be taken early here.
    const auto server = start({"--quiet-ms", "200", "--partial-quiet-ms", "2000"});
    WireClient alicia(server->port());
    WireClient bobby(server->port());
    alicia.login("alicia", "secret");
    bobby.login("bobby", "secret");

    const std::string command =
        " ## cmdPM /:/ alicia /:/ bobby /:/ split%%me /:/ Arial /:/ 10 /:/ B";
    const std::string record = " ## +PM /$/ alicia /$/ split%%me /$/ Arial /$/ 10 /$/ B";
    for (std::size_t cut = 1; cut < command.size(); ++cut) {
        alicia.send(command.substr(0, cut));
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // two segments
        alicia.send(command.substr(cut));
    }
    EXPECT_EQ(bobby.read(record.size() * (command.size() - 1)),
              repeated(record, command.size() - 1));

    std::string burst;
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        const std::string n = std::to_string(i);
        burst += " ## cmdPM /:/ alicia /:/ bobby /:/ m" + n + " /:/ A /:/ 9 /:/ ";
        expected += " ## +PM /$/ alicia /$/ m" + n + " /$/ A /$/ 9 /$/ ";
    }
    alicia.send(burst);
    EXPECT_EQ(bobby.read(expected.size()), expected);
}

TEST_F(LoopbackTest, MalformedInputAndRandomBytesLeaveTheServerServing) {
    addUser("alicia", "secret");
    addUser("bobby", "secret");
    const auto server = start();
    WireClient alicia(server->port());
    WireClient bobby(server->port());
    alicia.login("alicia", "secret");
    bobby.login("bobby", "secret");

    WireClient junk(server->port());
    std::mt19937 random(1234);
    std::string noise(1 << 20, '\0');
    for (auto& c : noise) {
        c = static_cast<char>(random());
    }
    // Plant a few marks so that some junk looks like commands.
    for (std::size_t at = 1000; at < noise.size(); at += 100000) {
        noise.replace(at, 10, " ## cmdPM ");
    }
    junk.send(noise);

    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ short /:/ A");
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ long /:/ A /:/ 9 /:/ B /:/ more /:/ more");
    alicia.send(" ## cmdZZ /:/ alicia ## ## \x01\x02 /:/ x");
    EXPECT_EQ(alicia.sync(), "");
    EXPECT_EQ(bobby.sync(), " ## +PM /$/ alicia /$/ long /$/ A /$/ 9 /$/ B");
    EXPECT_NE(log().find("cmdPM with 4 of 6 fields ignored"), std::string::npos);
    EXPECT_NE(log().find("unknown command \"cmdZZ\" ignored"), std::string::npos);
}

TEST_F(LoopbackTest, APeerThatNeverReadsIsDroppedWhileOthersAreServed) {
    addUser("alicia", "secret");
    addUser("bobby", "secret");
    const auto server = start({"--max-pending-bytes", "65536"});
    WireClient alicia(server->port());
    alicia.login("alicia", "secret");
    alicia.send(" ## cmdAB /:/ alicia /:/ bobby");
    (void)alicia.sync();
    WireClient bobby(server->port(), 4096);
    bobby.login("bobby", "secret");
    EXPECT_EQ(alicia.sync(), " ## +LOn /$/ bobby");

    // bobby reads no more. Past the socket buffers his queue hits the limit.
    const std::string pm =
        " ## cmdPM /:/ alicia /:/ bobby /:/ " + std::string(8000, 'x') + " /:/ A /:/ 9 /:/ ";
    bool dropped = false;
    for (int round = 0; round < 400 && !dropped; ++round) {
        alicia.send(repeated(pm, 20));
        dropped = alicia.sync().find(" ## +LOff /$/ bobby") != std::string::npos;
    }
    EXPECT_TRUE(dropped);
    EXPECT_NE(log().find("peer not reading, dropped"), std::string::npos);
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ later /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(alicia.sync(), " ## +UNO /$/ bobby");
}

} // namespace velmora::test
