#include "hub_fixture.h"

#include <regex>

namespace velmora::test {

TEST_F(HubTest, PrivateMessagesAreRelayedOrKeptForTheirRecipient) {
    addUser("alicia", "secret");
    addUser("Bobby", "secret");
    const auto a = login("alicia", "secret");
    EXPECT_EQ(send(a, " ## cmdPM /:/ alicia /:/ nobody /:/ hi /:/ A /:/ 1 /:/ ")[a],
              " ## +UNV /$/ nobody");
    EXPECT_EQ(send(a, " ## cmdPM /:/ ALICIA /:/ bobby /:/ first /:/ A /:/ 1 /:/ "
                      " ## cmdPM /:/ alicia /:/ bobby /:/ it's%%second /:/ A /:/ 1 /:/ ")[a],
              " ## +UNO /$/ Bobby ## +UNO /$/ Bobby");

    const auto b = connect();
    const std::string got = send(b, " ## cmdLI /:/ bobby /:/ secret /:/ 1.4")[b];
    const std::regex om(
        " ## \\+OM /\\$/ 2 :%: first :/ alicia :/ "
        "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d"
        " :%: it's%%second :/ alicia :/ \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$");
    EXPECT_TRUE(std::regex_search(got, om)) << got;

    // Live delivery keeps every field as sent except the sender's case.
    EXPECT_EQ(send(a, " ## cmdPM /:/ alicia /:/ BOBBY /:/ hey%%:) /:/ Comic Sans /:/ 12 /:/ BI")[b],
              " ## +PM /$/ alicia /$/ hey%%:) /$/ Comic Sans /$/ 12 /$/ BI");

    // Messages are deleted only once their record was written: without that
    // they come again on the next login.
    disconnect(b);
    ASSERT_EQ(written.size(), 2u);
    const auto again = connect();
    EXPECT_NE(send(again, " ## cmdLI /:/ bobby /:/ secret /:/ 1.4")[again].find(" ## +OM /$/ 2 "),
              std::string::npos);
    hub().written(written);
    disconnect(again);
    const auto last = connect();
    EXPECT_EQ(send(last, " ## cmdLI /:/ bobby /:/ secret /:/ 1.4")[last].find("+OM"),
              std::string::npos);
}

TEST_F(HubTest, OfflineMailboxesAreBoundedAndLongOnesSpanSeveralRecords) {
    config.maxOfflinePerUser = 6;
    addUser("alicia", "secret");
    addUser("bobby", "secret");
    const auto a = login("alicia", "secret");
    const std::string text(6000, 'x');
    for (int i = 0; i < 6; ++i) {
        send(a, " ## cmdPM /:/ alicia /:/ bobby /:/ " + text + " /:/ A /:/ 1 /:/ ");
    }
    EXPECT_EQ(send(a, " ## cmdPM /:/ alicia /:/ bobby /:/ one%%more /:/ A /:/ 1 /:/ ")[a],
              " ## +PM /$/ IM Server /$/ The%%offline%%mailbox%%of%%bobby%%is%%full;%%your%%"
              "message%%was%%not%%stored. /$/ MS Sans Serif /$/ 10 /$/ ");

    const auto b = connect();
    const std::string got = send(b, " ## cmdLI /:/ bobby /:/ secret /:/ 1.4")[b];
    // Three records of two messages each, every one under 16 KiB (the
    // fixture checks the size of every record).
    std::size_t records = 0;
    for (auto at = got.find(" ## +OM /$/ 2 :%: "); at != std::string::npos;
         at = got.find(" ## +OM /$/ 2 :%: ", at + 1)) {
        ++records;
    }
    EXPECT_EQ(records, 3u);
    EXPECT_EQ(written.size(), 6u);
}

TEST_F(HubTest, BuddiesAreAddedOnceAtTheEndAndRemovedIgnoringCase) {
    addUser("alicia", "secret");
    for (int i = 0; i < 76; ++i) {
        addUser("buddy" + std::to_string(i), "secret");
    }
    const auto a = login("alicia", "secret");
    EXPECT_EQ(send(a, " ## cmdAB /:/ alicia /:/ ghost")[a], " ## +UNV /$/ ghost");
    EXPECT_EQ(send(a, " ## cmdAB /:/ alicia /:/ BUDDY1")[a], " ## +BL /$/ f %/ buddy1");
    EXPECT_EQ(send(a, " ## cmdAB /:/ alicia /:/ buddy0 ## cmdAB /:/ alicia /:/ Buddy1")[a],
              " ## +BL /$/ f %/ buddy1 :%: f %/ buddy0 ## +BL /$/ f %/ buddy1 :%: f %/ buddy0");
    EXPECT_EQ(send(a, " ## cmdDB /:/ alicia /:/ BUDDY1 ## cmdDB /:/ alicia /:/ ghost")[a],
              " ## +BL /$/ f %/ buddy0 ## +BL /$/ f %/ buddy0");
    for (int i = 1; i < 76; ++i) {
        send(a, " ## cmdAB /:/ alicia /:/ buddy" + std::to_string(i));
    }
    const auto list = store.buddies(store.findUser("alicia")->id);
    ASSERT_EQ(list.size(), 75u);
    EXPECT_EQ(list.back(), "buddy74");
}

TEST_F(HubTest, SearchMatchesPartsOfNamesIgnoringCaseUpToAHundred) {
    addUser("alicia", "secret");
    addUser("Malice", "secret");
    addUser("bobby", "secret");
    const auto a = login("alicia", "secret");
    EXPECT_EQ(send(a, " ## cmdSU /:/ ALI")[a], " ## +SU /$/ alicia%Malice");
    EXPECT_EQ(send(a, " ## cmdSU /:/ zzz")[a], " ## +SU /$/ ");
    for (int i = 0; i < 120; ++i) {
        addUser("user" + std::to_string(1000 + i), "s");
    }
    const std::string all = send(a, " ## cmdSU /:/ ")[a];
    EXPECT_EQ(std::count(all.begin(), all.end(), '%'), 99);
    EXPECT_TRUE(all.starts_with(" ## +SU /$/ alicia%bobby%Malice%user1000%"));
}

} // namespace velmora::test
