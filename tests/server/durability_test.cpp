#include "loopback.h"

namespace velmora::test {

TEST_F(LoopbackTest, AnOfflineMessageSurvivesKillNineAndIsDeliveredOnce) {
    const std::string bobbyIn = " ## cmdLI /:/ bobby /:/ secret /:/ 1.4";
    const std::string loggedIn = " ## +LI /$/ Login=True ## +SO /$/  /$/ 10 /$/ 1 ## +BL /$/ ";
    addUser("alicia");
    addUser("bobby");
    start();
    {
        WireClient alicia(port);
        alicia.login("alicia");
        alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ kept%%safe /:/ A /:/ 9 /:/ ");
        EXPECT_EQ(alicia.sync(), " ## +UNO /$/ bobby");
        stop(SIGKILL);
    }
    // The welcome notice comes after the waiting messages.
    start({"--welcome", "Be nice here"});
    const std::string welcome =
        " ## +PM /$/ IM Server /$/ Be%%nice%%here /$/ MS Sans Serif /$/ 10 /$/ ";
    const std::string head = loggedIn + " ## +OM /$/ 1 :%: kept%%safe :/ alicia :/ ";
    WireClient first(port);
    first.send(bobbyIn);
    const std::string got = first.sync();
    EXPECT_EQ(got.substr(0, head.size()), head);
    EXPECT_EQ(got.substr(head.size() + 19), welcome); // after the sent time
    WireClient again(port);
    again.send(bobbyIn);
    EXPECT_EQ(again.sync(), loggedIn + welcome);
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
