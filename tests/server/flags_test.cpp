#include "loopback.h"

namespace velmora::test {

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
