#include "hub_fixture.h"

namespace velmora::test {

namespace {
const std::string kLogin = " ## +LI /$/ Login=True ## +SO /$/ http://im.example /$/ 3 /$/ 1";
}

TEST_F(HubTest, LoginOutcomesAndWhatFollowsASuccessfulLogin) {
    config.minVersion = core::Version{1, 4};
    config.profileSite = "http://im.example";
    config.roomLimit = 3;
    config.welcome = "Be nice here";
    addUser("Alicia", "alicia1");
    addUser("bobby", "bobby1");
    addUser("carol", "carol1");
    const auto c = connect();
    EXPECT_EQ(send(c, " ## cmdLI /:/ alicia /:/ alicia1 /:/ 1.3")[c], " ## +LI /$/ CUgd");
    EXPECT_EQ(send(c, " ## cmdLI /:/ alicia /:/ alicia1 /:/ 1.x")[c], " ## +LI /$/ CUgd");
    EXPECT_EQ(send(c, " ## cmdLI /:/ nobody /:/ alicia1 /:/ 1.4")[c], " ## +LI /$/ Login=False");
    EXPECT_EQ(send(c, " ## cmdLI /:/ alicia /:/ wrong1 /:/ 1.4")[c], " ## +LI /$/ Login=False");

    // Versions compare numerically: 1.10 is newer than 1.4.
    const auto b = connect();
    send(b, " ## cmdLI /:/ BOBBY /:/ bobby1 /:/ 1.10");
    send(b, " ## cmdAB /:/ bobby /:/ alicia ## cmdPM /:/ bobby /:/ alicia /:/ hi%%there /:/ "
            "Arial /:/ 10 /:/ B");
    const std::string waiting = " ## +OM /$/ 1 :%: hi%%there :/ bobby :/ ";
    send(c, " ## cmdPM /:/ x /:/ y /:/ z /:/ f /:/ 1 /:/ "); // not logged in: ignored

    const Received got = send(c, " ## cmdLI /:/ alicia /:/ alicia1 /:/ 2.0");
    const std::string& mine = got.at(c);
    const std::string head = kLogin + " ## +BL /$/ " + waiting;
    ASSERT_EQ(mine.substr(0, head.size()), head);
    // Sent time, then the welcome notice with its spaces in wire form.
    EXPECT_EQ(mine.substr(head.size() + 19), " ## +PM /$/ IM Server /$/ Be%%nice%%here /$/ "
                                             "MS Sans Serif /$/ 10 /$/ ");
    EXPECT_EQ(got.at(b), " ## +LOn /$/ Alicia"); // bobby lists her, in her registered case
    EXPECT_EQ(got.size(), 2u);
}

TEST_F(HubTest, PresenceReachesWatchersOnlyAndBuddyListsShowWhoIsOnline) {
    for (const char* name : {"alicia", "bobby", "carol", "dave1"}) {
        addUser(name, "secret");
    }
    const auto a = login("alicia", "secret");
    const auto c = login("carol", "secret");
    send(a, " ## cmdAB /:/ alicia /:/ dave1 ## cmdAB /:/ alicia /:/ bobby");

    const auto b = connect();
    const Received in = send(b, " ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    EXPECT_EQ(in.at(a), " ## +LOn /$/ bobby");
    EXPECT_FALSE(in.contains(c));
    EXPECT_EQ(send(a, " ## cmdAB /:/ alicia /:/ carol")[a],
              " ## +BL /$/ f %/ dave1 :%: n %/ bobby :%: n %/ carol");

    const Received out = disconnect(b);
    EXPECT_EQ(out.at(a), " ## +LOff /$/ bobby");
    EXPECT_EQ(out.size(), 1u);
    EXPECT_EQ(send(a, " ## cmdDB /:/ alicia /:/ CAROL")[a],
              " ## +BL /$/ f %/ dave1 :%: f %/ bobby");
}

TEST_F(HubTest, ASecondLoginEndsTheFirstSessionAsADisconnectWould) {
    addUser("alicia", "secret");
    addUser("bobby", "secret");
    const auto a = login("alicia", "secret");
    send(a, " ## cmdAB /:/ alicia /:/ bobby ## cmdCO /:/ alicia /:/ lobby");
    const auto first = login("bobby", "secret");
    send(first, " ## cmdCO /:/ bobby /:/ lobby");

    const auto second = connect();
    const Received got = send(second, " ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    EXPECT_EQ(closed, (std::vector<core::ConnId>{first}));
    EXPECT_EQ(got.at(a), " ## +CE /$/ bobby ## +LOff /$/ bobby ## +LOn /$/ bobby");
    EXPECT_FALSE(got.contains(first));
    // When the old socket finally closes, nothing more happens.
    EXPECT_TRUE(disconnect(first).empty());
    EXPECT_EQ(send(a, " ## cmdPM /:/ alicia /:/ bobby /:/ hi /:/ A /:/ 1 /:/ ")[second],
              " ## +PM /$/ alicia /$/ hi /$/ A /$/ 1 /$/ ");
}

TEST_F(HubTest, SignUpOutcomes) {
    config.profileSite = "http://im.example";
    addUser("Alicia", "secret");
    const auto c = connect();
    const auto ask = [&](const std::string& name, const std::string& password) {
        return send(c, " ## cmdRA /:/ " + name + " /:/ " + password + " /:/ 1.4")[c];
    };
    EXPECT_EQ(ask("ALICIA", "secret"), " ## +RU /$/ UE /$/ http://im.example");
    EXPECT_EQ(ask("bob", "secret"), " ## +RU /$/ IN /$/ http://im.example");
    EXPECT_EQ(ask("bob by", "secret"), " ## +RU /$/ IN /$/ http://im.example");
    EXPECT_EQ(ask("bobby", "sec"), " ## +RU /$/ IN /$/ http://im.example");
    EXPECT_EQ(ask("bobby", "sec:ret"), " ## +RU /$/ IN /$/ http://im.example");
    EXPECT_EQ(ask(std::string(33, 'b'), "secret"), " ## +RU /$/ IN /$/ http://im.example");
    EXPECT_EQ(ask("Bob_by-1", "secret"), " ## +RU /$/ RS /$/ http://im.example");
    EXPECT_EQ(ask("bob_BY-1", "secret"), " ## +RU /$/ UE /$/ http://im.example");
    // The connection stays anonymous after signing up ...
    EXPECT_TRUE(send(c, " ## cmdSU /:/ ").empty());
    // ... and the new account logs in, in its registered case.
    const auto b = login("BOB_BY-1", "secret");
    EXPECT_EQ(send(b, " ## cmdSU /:/ bob")[b], " ## +SU /$/ Bob_by-1");
}

TEST_F(HubTest, SignUpCanBeSwitchedOffAndAttemptsPerAddressAreLimited) {
    config.signup = false;
    config.maxLoginsPerMinute = 3;
    addUser("alicia", "secret");
    const auto c = connect("10.0.0.9");
    EXPECT_EQ(send(c, " ## cmdRA /:/ bobby /:/ secret /:/ 1.4")[c], " ## +RU /$/ RNE /$/ ");
    EXPECT_FALSE(store.findUser("bobby"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(send(c, " ## cmdLI /:/ alicia /:/ nope1 /:/ 1.4")[c], " ## +LI /$/ Login=False");
    }
    // The right password no longer helps from this address, but does from another.
    EXPECT_EQ(send(c, " ## cmdLI /:/ alicia /:/ secret /:/ 1.4")[c], " ## +LI /$/ Login=False");
    const auto other = connect("10.0.0.10");
    EXPECT_TRUE(send(other, " ## cmdLI /:/ alicia /:/ secret /:/ 1.4")[other].starts_with(
        " ## +LI /$/ Login=True"));
    EXPECT_NE(logText.str().find("too many attempts"), std::string::npos);
}

TEST_F(HubTest, NobodySpeaksForAnotherUserAndMalformedCommandsDoNothing) {
    addUser("alicia", "secret");
    addUser("bobby", "secret");
    const auto a = login("alicia", "secret");
    const auto b = login("bobby", "secret");
    // Spoofed first field: nothing is sent or stored, whatever the command.
    EXPECT_TRUE(send(a, " ## cmdPM /:/ bobby /:/ alicia /:/ fake /:/ A /:/ 1 /:/ "
                        " ## cmdAB /:/ bobby /:/ alicia ## cmdCO /:/ bobby /:/ lobby")
                    .empty());
    EXPECT_TRUE(store.buddies(store.findUser("bobby")->id).empty());
    // Missing fields are ignored; extra fields are dropped.
    EXPECT_TRUE(send(a, " ## cmdPM /:/ alicia /:/ bobby /:/ hi /:/ A /:/ 1").empty());
    EXPECT_EQ(send(a, " ## cmdPM /:/ alicia /:/ bobby /:/ hi /:/ A /:/ 1 /:/ B /:/ extra")[b],
              " ## +PM /$/ alicia /$/ hi /$/ A /$/ 1 /$/ B");
    // Unknown codes, empty records and binary junk are ignored.
    EXPECT_TRUE(send(a, " ##  ## cmdXY /:/ a ## \x01\xff /:/ ## +PM /$/ x").empty());
    // A logged-in connection cannot log in again.
    EXPECT_TRUE(send(a, " ## cmdLI /:/ bobby /:/ secret /:/ 1.4").empty());
    EXPECT_NE(logText.str().find("in the name of \"bobby\" ignored"), std::string::npos);
}

} // namespace velmora::test
