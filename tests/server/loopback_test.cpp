#include "loopback_fixture.h"

namespace velmora::test {

TEST_F(LoopbackTest, ASessionOverRealSocketsFromLoginToALostConnection) {
    addUser("alicia", "alicia1");
    addUser("Bobby", "bobby1");
    const auto server =
        start({"--profile-site", "http://im.example", "--room-limit", "4", "--welcome", "Hi"});
    WireClient alicia(server->port());
    alicia.send(" ## cmdLI /:/ alicia /:/ wrong /:/ 1.4");
    EXPECT_EQ(alicia.read(23), " ## +LI /$/ Login=False");
    alicia.send(" ## cmdLI /:/ ALICIA /:/ alicia1 /:/ 1.4");
    EXPECT_EQ(alicia.sync(), " ## +LI /$/ Login=True ## +SO /$/ http://im.example /$/ 4 /$/ 1"
                             " ## +BL /$/  ## +PM /$/ IM Server /$/ Hi /$/ MS Sans Serif /$/ 10 "
                             "/$/ ");
    alicia.send(" ## cmdAB /:/ alicia /:/ bobby");
    EXPECT_EQ(alicia.sync(), " ## +BL /$/ f %/ Bobby");

    auto bobby = std::make_unique<WireClient>(server->port());
    bobby->login("bobby", "bobby1");
    EXPECT_EQ(alicia.sync(), " ## +LOn /$/ Bobby");
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ hi%%bob /:/ Arial /:/ 10 /:/ B");
    EXPECT_EQ(bobby->sync(), " ## +PM /$/ alicia /$/ hi%%bob /$/ Arial /$/ 10 /$/ B");

    alicia.send(" ## cmdCO /:/ alicia /:/ lobby");
    EXPECT_EQ(alicia.sync(), " ## +CDet /$/  :/ alicia");
    bobby->send(" ## cmdCO /:/ bobby /:/ lobby");
    EXPECT_EQ(bobby->sync(), " ## +CDet /$/  :/ alicia :/ Bobby");
    EXPECT_EQ(alicia.sync(), " ## +CO /$/ Bobby");

    // A reset connection still ends presence and room membership.
    bobby->abort();
    EXPECT_EQ(alicia.readThrough(" ## +LOff /$/ Bobby"), " ## +CE /$/ Bobby ## +LOff /$/ Bobby");

    // Logging in again elsewhere closes the older connection.
    WireClient again(server->port());
    again.login("alicia", "alicia1");
    EXPECT_TRUE(alicia.closedByServer());
    EXPECT_EQ(server->stop(), 0);
    EXPECT_NE(log().find("replaced by a new login"), std::string::npos);
}

TEST_F(LoopbackTest, SignUpOnTheSocketThenLogIn) {
    const auto server = start({"--profile-site", "http://im.example"});
    WireClient client(server->port());
    client.send(" ## cmdRA /:/ Newbie /:/ newbie1 /:/ 1.4");
    EXPECT_EQ(client.read(36), " ## +RU /$/ RS /$/ http://im.example");
    client.send(" ## cmdRA /:/ NEWBIE /:/ newbie1 /:/ 1.4");
    EXPECT_EQ(client.read(36), " ## +RU /$/ UE /$/ http://im.example");
    client.login("newbie", "newbie1");
    client.send(" ## cmdSU /:/ EWB");
    EXPECT_EQ(client.read(18), " ## +SU /$/ Newbie");
}

} // namespace velmora::test
