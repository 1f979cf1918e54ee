// The hub as node "a" of a cluster, with the bus played by the test: events
// enter in the order the test gives them, as the bus would deliver them.
#include "core/rooms.h"
#include "hub_fixture.h"

namespace velmora::test {
namespace {

class FakeCluster final : public core::Cluster {
public:
    const std::string& self() const override { return self_; }
    std::optional<std::int64_t> claim(const std::string& name, bool /*receipts*/) override {
        claims.push_back(name);
        return static_cast<std::int64_t>(claims.size()) * 10;
    }
    bool release(const std::string& name) override {
        releases.push_back(name);
        return true;
    }
    core::RoomBook& rooms() override { return rooms_; }

    std::vector<std::string> claims, releases;

private:
    std::string self_ = "a";
    core::Rooms rooms_;
};

using HubClusterTest = HubTest;

TEST_P(HubClusterTest, EventsOfOtherNodesReachThisNodesUsersInOrder) {
    FakeCluster bus;
    cluster = &bus;
    for (const char* name : {"alice1", "bobby", "carol"}) {
        addUser(name);
    }
    const std::string li = " /:/ secret /:/ 1.4";
    const std::string pm = " /:/ hi /:/ A /:/ 9 /:/ ";
    play({
        {"alice",
         " ## cmdLI /:/ alice1" + li,
         {{"alice", " ## +LI /$/ Login=True ## +SO /$/  /$/ 10 /$/ 1 ## +BL /$/ "}}},
        {"alice", " ## cmdAB /:/ alice1 /:/ carol", {{"alice", " ## +BL /$/ f %/ carol"}}},
        {"alice",
         " ## cmdAB /:/ alice1 /:/ bobby",
         {{"alice", " ## +BL /$/ f %/ carol :%: f %/ bobby"}}},
    });
    EXPECT_EQ(bus.claims, std::vector<std::string>{"alice1"});
    // Buddies hear of a login when the bus brings it back, this node's own too.
    EXPECT_EQ(event([](core::Hub& h) { return h.userOnline("b", "carol", 15); }),
              (Seen{{"alice", " ## +LOn /$/ carol"}}));
    play({{"alice",
           " ## cmdPM /:/ alice1 /:/ CAROL" + pm,
           {{"b:CAROL", " ## +PM /$/ alice1 /$/ hi /$/ A /$/ 9 /$/ "}}},
          {"bobby",
           " ## cmdLI /:/ bobby" + li,
           {{"bobby", " ## +LI /$/ Login=True ## +SO /$/  /$/ 10 /$/ 1 ## +BL /$/ "}}}});

    // bobby's own claim (20) comes back; an older claim on node b, delivered
    // late, does not end his newer session here; a newer one does, as a
    // second login would.
    EXPECT_EQ(event([](core::Hub& h) { return h.userOnline("a", "bobby", 20); }),
              (Seen{{"alice", " ## +LOn /$/ bobby"}}));
    const Seen moved{{"alice", " ## +LOff /$/ bobby ## +LOn /$/ bobby"}};
    EXPECT_EQ(event([](core::Hub& h) { return h.userOnline("b", "bobby", 19); }), moved);
    EXPECT_TRUE(closed.empty());
    (void)event([](core::Hub& h) { return h.userOnline("a", "bobby", 20); });
    EXPECT_EQ(event([](core::Hub& h) { return h.userOnline("b", "bobby", 31); }), moved);
    EXPECT_EQ(closed, std::vector<std::string>{"bobby"});
    EXPECT_TRUE(bus.releases.empty()); // node b holds the name now

    // A message relayed here goes to its user, or is kept when they left.
    const std::string kept = " ## +PM /$/ carol /$/ kept /$/ A /$/ 9 /$/ ";
    EXPECT_EQ(event([&](core::Hub& h) { return h.relayed("alice1", kept); }),
              (Seen{{"alice", kept}}));
    play({{"alice", kDrop, {}}});
    EXPECT_EQ(bus.releases, std::vector<std::string>{"alice1"});
    EXPECT_EQ(event([&](core::Hub& h) { return h.relayed("alice1", kept); }), Seen{});
    EXPECT_EQ(store.offlineCount(store.findUser("alice1")->id), 1);

    // Node b stops: its users are gone; this node's own end is not believed.
    (void)send("alice", " ## cmdLI /:/ alice1" + li);
    (void)event([](core::Hub& h) { return h.userOnline("a", "alice1", 40); });
    (void)send("bobby2", " ## cmdLI /:/ bobby" + li);
    (void)send("bobby2", " ## cmdAB /:/ bobby /:/ alice1");
    const Seen gone = event([](core::Hub& h) { return h.nodeGone("b"); });
    ASSERT_EQ(gone.size(), 1u);
    const std::string& heard = gone.at("alice");
    EXPECT_NE(heard.find(" ## +LOff /$/ carol"), std::string::npos) << heard;
    EXPECT_NE(heard.find(" ## +LOff /$/ bobby"), std::string::npos) << heard;
    EXPECT_EQ(heard.size(), 2 * std::string(" ## +LOff /$/ carol").size());
    EXPECT_EQ(event([](core::Hub& h) { return h.nodeGone("a"); }), Seen{});
    // After an outage the bus's copy wins: carol is back, nothing else changed.
    EXPECT_EQ(event([](core::Hub& h) {
                  return h.resynced({{"a", "alice1"}, {"b", "carol"}});
              }),
              (Seen{{"alice", " ## +LOn /$/ carol"}}));
}

// Between nodes the sender's node stores a message for a session that
// confirms, and the recipient's node sends it with that number; what no
// session took stays stored.
TEST_P(HubClusterTest, MessagesForSessionsWithReceiptsAreStoredBeforeTheyLeaveTheNode) {
    FakeCluster bus;
    cluster = &bus;
    for (const char* name : {"alice1", "bobby", "carol"}) {
        addUser(name);
    }
    (void)send("alice", " ## cmdLI /:/ alice1 /:/ secret /:/ 1.4");
    (void)event([](core::Hub& h) { return h.userOnline("b", "carol", 15, true); });
    const auto count = [&](const char* name) {
        return store.offlineCount(store.findUser(name)->id);
    };
    const std::string numbered = " ## +PM /$/ alice1 /$/ hi /$/ A /$/ 9 /$/  /$/ 1";
    play({{"alice",
           " ## cmdPM /:/ alice1 /:/ carol /:/ hi /:/ A /:/ 9 /:/ ",
           {{"b:carol", numbered}}}});
    EXPECT_EQ(count("carol"), 1);
    // Node b is gone before it took it: the sender hears of an offline
    // recipient, and the message is not stored twice.
    EXPECT_EQ(event([&](core::Hub& h) { return h.undelivered("carol", numbered, true); }),
              (Seen{{"alice", " ## +UNO /$/ carol"}}));
    EXPECT_EQ(event([&](core::Hub& h) { return h.relayed("carol", numbered, true); }), Seen{});
    EXPECT_EQ(count("carol"), 1);

    // Here, a session with receipts takes the numbered record as it is; one
    // without takes the plain record, and the message counts as delivered.
    const std::string toBobby = " ## +PM /$/ carol /$/ yo /$/ A /$/ 9 /$/  /$/ 7";
    store.addOffline(store.findUser("bobby")->id, "carol", "yo", "2026-11-24 10:00:00");
    (void)send("bobby", " ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    EXPECT_EQ(event([&](core::Hub& h) { return h.relayed("bobby", toBobby, true); }),
              (Seen{{"bobby", " ## +PM /$/ carol /$/ yo /$/ A /$/ 9 /$/ "}}));
    EXPECT_EQ(count("bobby"), 1) << "only its own number is removed";
    (void)send("bobby", kDrop);
    (void)send("bobby2", " ## cmdLI /:/ bobby /:/ secret /:/ 1.4 /:/ receipts");
    (void)send("bobby2", " ## cmdRC /:/ bobby /:/ 2");
    EXPECT_EQ(event([&](core::Hub& h) { return h.relayed("bobby", toBobby, true); }),
              (Seen{{"bobby2", toBobby}}));
}

INSTANTIATE_TEST_SUITE_P(Sqlite, HubClusterTest, ::testing::Values("sqlite"));

} // namespace
} // namespace velmora::test
