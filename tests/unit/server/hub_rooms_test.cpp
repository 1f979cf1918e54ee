#include "hub_fixture.h"

namespace velmora::test {

class RoomTest : public HubTest {
protected:
    void SetUp() override {
        config.roomLimit = 3;
        for (const char* name : {"alicia", "bobby", "carol", "dave1", "erin1"}) {
            addUser(name, "secret");
        }
        a = login("alicia", "secret");
        b = login("bobby", "secret");
        c = login("carol", "secret");
        d = login("dave1", "secret");
    }
    core::ConnId a = 0, b = 0, c = 0, d = 0;
};

TEST_F(RoomTest, MembersSeeEachOtherEnterTalkAndLeave) {
    EXPECT_EQ(send(a, " ## cmdCO /:/ alicia /:/ Lobby")[a], " ## +CDet /$/  :/ alicia");
    const Received joined = send(b, " ## cmdCO /:/ bobby /:/ LOBBY");
    EXPECT_EQ(joined.at(b), " ## +CDet /$/  :/ alicia :/ bobby");
    EXPECT_EQ(joined.at(a), " ## +CO /$/ bobby");

    const Received said =
        send(b, " ## cmdCM /:/ bobby /:/ lobby /:/ hi%%all /:/ Arial /:/ 10 /:/ B");
    EXPECT_EQ(said.at(a), " ## +CM /$/ bobby /$/ hi%%all /$/ Arial /$/ 10 /$/ B");
    EXPECT_EQ(said.at(b), said.at(a)); // the sender gets the echo
    EXPECT_EQ(said.size(), 2u);
    // Only members may talk in a room.
    EXPECT_TRUE(send(c, " ## cmdCM /:/ carol /:/ lobby /:/ psst /:/ A /:/ 1 /:/ ").empty());

    const Received left = send(a, " ## cmdCE /:/ alicia /:/ lobby");
    EXPECT_EQ(left.at(b), " ## +CE /$/ alicia");
    EXPECT_EQ(left.size(), 1u);
    // The last one out removes the room; the next opener names it anew.
    send(b, " ## cmdCE /:/ bobby /:/ Lobby");
    EXPECT_EQ(send(c, " ## cmdCO /:/ carol /:/ lObBy")[c], " ## +CDet /$/  :/ carol");
    EXPECT_EQ(send(a, " ## cmdCO /:/ alicia /:/ LOBBY")[a], " ## +CDet /$/  :/ carol :/ alicia");
}

TEST_F(RoomTest, FullRoomsBadNamesAndOneRoomPerUser) {
    send(a, " ## cmdCO /:/ alicia /:/ room1");
    send(b, " ## cmdCO /:/ bobby /:/ room1");
    send(c, " ## cmdCO /:/ carol /:/ room1");
    EXPECT_EQ(send(d, " ## cmdCO /:/ dave1 /:/ room1")[d], " ## +CDet /$/ ConfFull");
    // Re-opening a room one is in repeats the list without telling others.
    EXPECT_EQ(send(c, " ## cmdCO /:/ carol /:/ ROOM1"),
              (Received{{c, " ## +CDet /$/  :/ alicia :/ bobby :/ carol"}}));
    EXPECT_TRUE(send(d, " ## cmdCO /:/ dave1 /:/ abc ## cmdCO /:/ dave1 /:/ ab cd").empty());

    // Moving to another room leaves the first.
    const Received moved = send(b, " ## cmdCO /:/ bobby /:/ room2");
    EXPECT_EQ(moved.at(a), " ## +CE /$/ bobby");
    EXPECT_EQ(moved.at(c), " ## +CE /$/ bobby");
    EXPECT_EQ(moved.at(b), " ## +CDet /$/  :/ bobby");
    EXPECT_EQ(send(d, " ## cmdCO /:/ dave1 /:/ room1")[d],
              " ## +CDet /$/  :/ alicia :/ carol :/ dave1");
}

TEST_F(RoomTest, InvitationsGoToOnlineNonMembersFromMembersOnly) {
    send(a, " ## cmdCO /:/ alicia /:/ room1");
    send(b, " ## cmdCO /:/ bobby /:/ room1");
    // Element 0 (dave1) is ignored; erin is offline, bobby already in, carol twice.
    const Received sent = send(a, " ## cmdCI /:/ alicia /:/ ROOM1 /:/ dave1 :/ bobby :/ erin1 :/ "
                                  "carol :/ CAROL /:/ come%%in");
    EXPECT_EQ(sent.at(c), " ## +CI /$/ alicia /$/ room1 /$/ come%%in");
    EXPECT_EQ(sent.size(), 1u);
    EXPECT_TRUE(send(c, " ## cmdCI /:/ carol /:/ room1 /:/  :/ dave1 /:/ hi").empty());
}

TEST_F(RoomTest, ALostConnectionLeavesTheRoom) {
    send(a, " ## cmdCO /:/ alicia /:/ room1");
    send(b, " ## cmdCO /:/ bobby /:/ room1");
    EXPECT_EQ(disconnect(b), (Received{{a, " ## +CE /$/ bobby"}}));
    EXPECT_EQ(send(c, " ## cmdCO /:/ carol /:/ room1")[c], " ## +CDet /$/  :/ alicia :/ carol");
}

} // namespace velmora::test
