#include "hub_fixture.h"

namespace velmora::test {

namespace {
const std::string kIn =
    " ## +LI /$/ Login=True ## +SO /$/ http://im.example /$/ 3 /$/ 1 ## +BL /$/ ";

std::string li(const std::string& name, const std::string& version = "1.4") {
    return " ## cmdLI /:/ " + name + " /:/ secret /:/ " + version;
}
std::string ra(const std::string& name, const std::string& password = "secret") {
    return " ## cmdRA /:/ " + name + " /:/ " + password + " /:/ 1.4";
}
Seen to(const std::string& who, const std::string& bytes) {
    return {{who, bytes}};
}
} // namespace

TEST_P(HubTest, EveryCommandAnswersWithItsExactBytes) {
    config.minVersion = core::Version{1, 4};
    config.profileSite = "http://im.example";
    config.roomLimit = 3;
    for (const char* name : {"Alicia", "bobby", "carol", "Dave1", "erin1", "Malice"}) {
        addUser(name);
    }
    const auto signUp = [](const std::string& outcome) {
        return to("anon", " ## +RU /$/ " + outcome + " /$/ http://im.example");
    };
    const std::string cdet3 = " ## +CDet /$/  :/ Alicia :/ bobby :/ carol";
    const Seen waiting{{"dave1", kIn + " ## +OM /$/ 2 :%: hi :/ Alicia :/ YYYY-MM-DD HH:MM:SS"
                                       " :%: it's%%2nd :/ Alicia :/ YYYY-MM-DD HH:MM:SS"},
                       {"alicia", " ## +LOn /$/ Dave1"}};
    const std::string cm = " ## +CM /$/ bobby /$/ hi%%all /$/ Arial /$/ 10 /$/ B";
    play({
        // Before a login only cmdLI and cmdRA are answered.
        {"anon", li("alicia", "1.3") + li("alicia", "1.x"),
         to("anon", " ## +LI /$/ CUgd ## +LI /$/ CUgd")},
        {"anon", li("nobody") + li("' OR 1=1 --") + " ## cmdLI /:/ alicia /:/ wrong1 /:/ 1.4",
         to("anon", " ## +LI /$/ Login=False ## +LI /$/ Login=False ## +LI /$/ Login=False")},
        {"anon", " ## cmdPM /:/ x /:/ y /:/ z /:/ f /:/ 1 /:/  ## cmdSU /:/ ", {}},
        {"anon", ra("ALICIA"), signUp("UE")},
        {"anon", ra("bob"), signUp("IN")},
        {"anon", ra("bob by"), signUp("IN")},
        {"anon", ra("newbie", "sec"), signUp("IN")},
        {"anon", ra("newbie", "sec:ret"), signUp("IN")},
        {"anon", ra(std::string(33, 'b')), signUp("IN")},
        {"anon", ra("Bob_by-1"), signUp("RS")},
        {"anon", " ## cmdSU /:/ ", {}}, // still anonymous
        {"newbie", li("BOB_BY-1"), to("newbie", kIn)},
        // Versions compare as numbers; a message for someone offline waits.
        {"bobby", li("BOBBY", "1.10"), to("bobby", kIn)},
        {"bobby",
         " ## cmdAB /:/ bobby /:/ alicia ## cmdPM /:/ bobby /:/ alicia /:/ hi%%there /:/ Arial /:/ "
         "10 /:/ B",
         to("bobby", " ## +BL /$/ f %/ Alicia ## +UNO /$/ Alicia")},
        {"alicia",
         li("alicia", "2.0"),
         {{"alicia", kIn + " ## +OM /$/ 1 :%: hi%%there :/ bobby :/ YYYY-MM-DD HH:MM:SS"},
          {"bobby", " ## +LOn /$/ Alicia"}}},
        // Buddy lists and presence: only watchers hear of a login or logout.
        {"carol", li("carol"), to("carol", kIn)},
        {"alicia", " ## cmdAB /:/ alicia /:/ ghost", to("alicia", " ## +UNV /$/ ghost")},
        {"alicia",
         " ## cmdAB /:/ alicia /:/ DAVE1 ## cmdAB /:/ alicia /:/ bobby ## cmdAB /:/ alicia /:/ "
         "BOBBY",
         to("alicia", " ## +BL /$/ f %/ Dave1 ## +BL /$/ f %/ Dave1 :%: n %/ bobby"
                      " ## +BL /$/ f %/ Dave1 :%: n %/ bobby")},
        {"alicia", " ## cmdAB /:/ alicia /:/ carol",
         to("alicia", " ## +BL /$/ f %/ Dave1 :%: n %/ bobby :%: n %/ carol")},
        {"alicia", " ## cmdDB /:/ alicia /:/ CAROL ## cmdDB /:/ alicia /:/ ghost",
         to("alicia",
            " ## +BL /$/ f %/ Dave1 :%: n %/ bobby ## +BL /$/ f %/ Dave1 :%: n %/ bobby")},
        // Search: names containing the query, ignoring case; wildcards are plain text.
        {"alicia", " ## cmdSU /:/ ALI", to("alicia", " ## +SU /$/ Alicia%Malice")},
        {"alicia", " ## cmdSU /:/ _ ## cmdSU /:/ % ## cmdSU /:/ zzz",
         to("alicia", " ## +SU /$/ Bob_by-1 ## +SU /$/  ## +SU /$/ ")},
        // Private messages keep every field as sent except the sender's name.
        {"alicia",
         " ## cmdPM /:/ alicia /:/ nobody /:/ hi /:/ A /:/ 1 /:/  ## cmdPM /:/ alicia /:/ DAVE1 "
         "/:/ "
         "hi /:/ A /:/ 1 /:/  ## cmdPM /:/ alicia /:/ dave1 /:/ it's%%2nd /:/ A /:/ 1 /:/ ",
         to("alicia", " ## +UNV /$/ nobody ## +UNO /$/ Dave1 ## +UNO /$/ Dave1")},
        {"alicia", " ## cmdPM /:/ ALICIA /:/ BOBBY /:/ hey%%:) /:/ Comic Sans /:/ 12 /:/ BI",
         to("bobby", " ## +PM /$/ Alicia /$/ hey%%:) /$/ Comic Sans /$/ 12 /$/ BI")},
        // Nobody speaks for another user; malformed commands do nothing.
        {"alicia",
         " ## cmdPM /:/ bobby /:/ alicia /:/ fake /:/ A /:/ 1 /:/  ## cmdAB /:/ bobby /:/ carol"
         " ## cmdDB /:/ bobby /:/ alicia ## cmdCO /:/ bobby /:/ lobby",
         {}},
        {"alicia", " ## cmdPM /:/ alicia /:/ bobby /:/ hi /:/ A /:/ 1", {}},
        {"alicia", " ## cmdPM /:/ alicia /:/ bobby /:/ hi /:/ A /:/ 1 /:/ B /:/ extra",
         to("bobby", " ## +PM /$/ Alicia /$/ hi /$/ A /$/ 1 /$/ B")},
        {"alicia", " ##  ## cmdXY /:/ a ## \x01\xff /:/ ## +PM /$/ x" + li("bobby"), {}},
        {"alicia", " ## cmdCO /:/ alicia /:/ Lobby", to("alicia", " ## +CDet /$/  :/ Alicia")},
        {"bobby",
         " ## cmdCO /:/ bobby /:/ LOBBY",
         {{"bobby", " ## +CDet /$/  :/ Alicia :/ bobby"}, {"alicia", " ## +CO /$/ bobby"}}},
        {"bobby",
         " ## cmdCM /:/ bobby /:/ lobby /:/ hi%%all /:/ Arial /:/ 10 /:/ B",
         {{"alicia", cm}, {"bobby", cm}}},
        {"carol",
         " ## cmdCM /:/ carol /:/ lobby /:/ psst /:/ A /:/ 1 /:/ "
         " ## cmdCI /:/ carol /:/ lobby /:/  :/ bobby /:/ hi",
         {}},
        {"erin1", li("erin1"), to("erin1", kIn)},
        // Element 0 is ignored; Dave1 is offline, bobby a member, carol named twice.
        {"alicia",
         " ## cmdCI /:/ alicia /:/ LOBBY /:/ erin1 :/ bobby :/ Dave1 :/ carol :/ CAROL /:/ "
         "come%%in",
         to("carol", " ## +CI /$/ Alicia /$/ Lobby /$/ come%%in")},
        {"carol",
         " ## cmdCO /:/ carol /:/ lobby",
         {{"carol", cdet3}, {"alicia", " ## +CO /$/ carol"}, {"bobby", " ## +CO /$/ carol"}}},
        {"erin1", " ## cmdCO /:/ erin1 /:/ lobby", to("erin1", " ## +CDet /$/ ConfFull")},
        {"carol", " ## cmdCO /:/ carol /:/ LOBBY", to("carol", cdet3)},
        {"erin1", " ## cmdCO /:/ erin1 /:/ abc ## cmdCO /:/ erin1 /:/ ab cd", {}},
        {"bobby",
         " ## cmdCO /:/ bobby /:/ room2",
         {{"bobby", " ## +CDet /$/  :/ bobby"},
          {"alicia", " ## +CE /$/ bobby"},
          {"carol", " ## +CE /$/ bobby"}}},
        {"erin1",
         " ## cmdCO /:/ erin1 /:/ lobby",
         {{"erin1", " ## +CDet /$/  :/ Alicia :/ carol :/ erin1"},
          {"alicia", " ## +CO /$/ erin1"},
          {"carol", " ## +CO /$/ erin1"}}},
        {"alicia",
         " ## cmdCE /:/ alicia /:/ lobby",
         {{"carol", " ## +CE /$/ Alicia"}, {"erin1", " ## +CE /$/ Alicia"}}},
        {"carol", kDrop, to("erin1", " ## +CE /$/ carol")},
        // The last one out removes the room; the next opener names it anew.
        {"erin1", " ## cmdCE /:/ erin1 /:/ Lobby", {}},
        {"alicia", " ## cmdCO /:/ alicia /:/ LOBBY", to("alicia", " ## +CDet /$/  :/ Alicia")},
        {"alicia", " ## cmdCI /:/ alicia /:/ lobby /:/  :/ erin1 /:/ x",
         to("erin1", " ## +CI /$/ Alicia /$/ LOBBY /$/ x")},
        {"bobby",
         " ## cmdCO /:/ bobby /:/ lobby",
         {{"bobby", " ## +CDet /$/  :/ Alicia :/ bobby"}, {"alicia", " ## +CO /$/ bobby"}}},
        // A second login ends the first session as a disconnect would.
        {"bobby2",
         li("bobby"),
         {{"bobby2", kIn + "n %/ Alicia"},
          {"alicia", " ## +CE /$/ bobby ## +LOff /$/ bobby ## +LOn /$/ bobby"}}},
        {"bobby", kDrop, {}},
        {"alicia", " ## cmdPM /:/ alicia /:/ bobby /:/ hi /:/ A /:/ 1 /:/ ",
         to("bobby2", " ## +PM /$/ Alicia /$/ hi /$/ A /$/ 1 /$/ ")},
        // Waiting messages, oldest first, are deleted only once their record was written.
        {"dave1", li("dave1"), waiting},
        {"dave1", kDrop, to("alicia", " ## +LOff /$/ Dave1")},
        {"dave1", li("dave1"), waiting},
        {"dave1", kDrop, to("alicia", " ## +LOff /$/ Dave1")},
    });
    flush();
    play({{"dave1", li("dave1"), {{"dave1", kIn}, {"alicia", " ## +LOn /$/ Dave1"}}}});
    EXPECT_EQ(closed, std::vector<std::string>{"bobby"});
    EXPECT_EQ(store.buddies(store.findUser("bobby")->id), std::vector<std::string>{"Alicia"});
    EXPECT_NE(logText.str().find("in the name of \"bobby\" ignored"), std::string::npos);
}

TEST_P(HubTest, LimitsHoldAndRefusalsAreLogged) {
    config.signup = false;
    config.maxOfflinePerUser = 6;
    config.maxLoginsPerMinute = 3;
    addUser("alicia");
    addUser("bobby");
    for (int i = 100; i < 220; ++i) {
        addUser("buddy" + std::to_string(i));
    }
    send("alicia", li("alicia"));
    const std::string text(6000, 'x');
    for (int i = 0; i < 6; ++i) {
        send("alicia", " ## cmdPM /:/ alicia /:/ bobby /:/ " + text + " /:/ A /:/ 1 /:/ ");
    }
    play({
        {"alicia", " ## cmdPM /:/ alicia /:/ bobby /:/ one%%more /:/ A /:/ 1 /:/ ",
         to("alicia", " ## +PM /$/ IM Server /$/ The%%offline%%mailbox%%of%%bobby%%is%%full;%%"
                      "your%%message%%was%%not%%stored. /$/ MS Sans Serif /$/ 10 /$/ ")},
        {"anon", ra("newbie"), to("anon", " ## +RU /$/ RNE /$/ ")},
    });
    EXPECT_FALSE(store.findUser("newbie"));

    // Six long messages come as three records of two, each under 16 KiB
    // (the fixture checks the size of every record).
    const std::string one = " :%: " + text + " :/ alicia :/ YYYY-MM-DD HH:MM:SS";
    std::string om = " ## +LI /$/ Login=True ## +SO /$/  /$/ 10 /$/ 1 ## +BL /$/ ";
    for (int i = 0; i < 3; ++i) {
        om += " ## +OM /$/ 2" + one + one;
    }
    play({{"bobby", li("bobby"), to("bobby", om)}});
    EXPECT_EQ(written.size(), 6u);

    std::string found = " ## +SU /$/ alicia%bobby";
    for (int i = 100; i < 220; ++i) {
        send("alicia", " ## cmdAB /:/ alicia /:/ buddy" + std::to_string(i));
        found += i < 198 ? "%buddy" + std::to_string(i) : "";
    }
    const auto list = store.buddies(store.findUser("alicia")->id);
    ASSERT_EQ(list.size(), 75u);
    EXPECT_EQ(list.back(), "buddy174");
    play({{"alicia", " ## cmdSU /:/ ", to("alicia", found)}});

    // Only failures count: an office behind one address logs everyone in
    // again after a restart, but three wrong passwords shut the address out.
    address = "10.0.0.9";
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(send("office" + std::to_string(i), li("alicia"))["office" + std::to_string(i)]
                        .starts_with(" ## +LI /$/ Login=True"));
    }
    const std::string wrong = " ## cmdLI /:/ alicia /:/ nope1 /:/ 1.4";
    const std::string no = " ## +LI /$/ Login=False";
    play({{"guess", wrong, to("guess", no)},
          {"guess", wrong, to("guess", no)},
          {"guess", wrong, to("guess", no)},
          {"guess", li("alicia"), to("guess", no)}});
    address = "10.0.0.10";
    EXPECT_TRUE(send("other", li("alicia"))["other"].starts_with(" ## +LI /$/ Login=True"));
    EXPECT_NE(logText.str().find("too many failed attempts"), std::string::npos);
}

TEST_P(HubTest, FieldsThatCouldForgeARecordAreRefusedAndViolationsClose) {
    config.maxViolations = 13; // the twelve below, then one more
    addUser("alicia");
    addUser("bobby");
    addUser("carol");
    send("alicia", li("alicia") + " ## cmdCO /:/ alicia /:/ lobby");
    send("carol", li("carol"));
    // Each would show another sender, field or record at bobby, live or offline.
    const std::string pm = " ## cmdPM /:/ alicia /:/ bobby /:/ ";
    const std::vector<std::string> forged = {
        pm + "hi :/ carol :/ 2001-01-01 00:00:00 /:/ A /:/ 1 /:/ ",
        pm + "hi :%: x /:/ A /:/ 1 /:/ ",
        pm + "hi /:/ A /$/ B /:/ 1 /:/ ",
        pm + "hi :%: /:/ A /:/ 1 /:/ ",   // ends so that it joins the separator after
        pm + ":/ carol /:/ A /:/ 1 /:/ ", // starts so that it joins the one before
        pm + "%/ /:/ A /:/ 1 /:/ ",       // joins both
        pm + "hi /:/ A\x01 /:/ 1 /:/ ",
        pm + "hi /:/ \xff\xfe /:/ 1 /:/ ",
        pm + "hi /:/ A /:/ 1 %/ x /:/ ",
        " ## cmdCI /:/ alicia /:/ lobby /:/  :/ carol :%: x /:/ come",
        " ## cmdCI /:/ alicia /:/ lobby /:/  :/ carol /:/ come :/ in",
        " ## cmdCM /:/ alicia /:/ lobby /:/ a :/ b /:/ A /:/ 1 /:/ ",
    };
    for (const auto& command : forged) {
        EXPECT_EQ(send("alicia", command), Seen{}) << command;
    }
    EXPECT_EQ(store.offlineCount(store.findUser("bobby")->id), 0);
    EXPECT_TRUE(closed.empty());
    // Plain text with its spaces as "%%", a font with spaces and UTF-8 still pass.
    play({{"alicia", pm + "caf\xc3\xa9%%:) /:/ Comic Sans MS /:/ 10 /:/ ",
           to("alicia", " ## +UNO /$/ bobby")}});
    EXPECT_EQ(send("alicia", " ## cmdXY"), Seen{});
    EXPECT_EQ(closed, std::vector<std::string>{"alicia"});
    const std::string text = logText.str();
    EXPECT_NE(text.find("with a separator or control bytes in a field refused"), std::string::npos);
    EXPECT_EQ(text.find("cmdXY"), std::string::npos) << "only the first violation is logged";
}

TEST_P(HubTest, WithReceiptsAMessageIsForgottenOnlyWhenItsOwnerConfirmsIt) {
    for (const char* name : {"alicia", "bobby", "carol1"}) {
        addUser(name);
    }
    const std::string receipts = li("bobby") + " /:/ receipts";
    const std::string plainIn = " ## +LI /$/ Login=True ## +SO /$/  /$/ 10 /$/ 1 ## +BL /$/ ";
    const std::string in = " ## +LI /$/ Login=True ## +RC /$/ " + store.storeId() +
                           " ## +SO /$/  /$/ 10 /$/ 1 ## +BL /$/ ";
    const auto pm = [](const std::string& text) {
        return " ## cmdPM /:/ alicia /:/ bobby /:/ " + text + " /:/ Arial /:/ 10 /:/ B";
    };
    const auto item = [](const std::string& text, int number) {
        return " :%: " + text + " :/ alicia :/ YYYY-MM-DD HH:MM:SS :/ " + std::to_string(number);
    };
    ASSERT_EQ(store.storeId().size(), 16u);
    send("alicia", li("alicia"));
    play({
        // Live messages are stored first and carry their number.
        {"bobby", receipts, to("bobby", in)},
        {"alicia", pm("one") + pm("two"),
         to("bobby", " ## +PM /$/ alicia /$/ one /$/ Arial /$/ 10 /$/ B /$/ 1"
                     " ## +PM /$/ alicia /$/ two /$/ Arial /$/ 10 /$/ B /$/ 2")},
        {"bobby", " ## cmdRC /:/ bobby /:/ 1", {}},
        // Nobody confirms what is not theirs; a list that is not one is refused.
        {"carol1", li("carol1"), to("carol1", plainIn)},
        {"carol1", " ## cmdRC /:/ carol1 /:/ 1-3 ## cmdRC /:/ carol1 /:/ 2,x", {}},
        {"bobby", kDrop, {}},
        {"alicia", pm("three"), to("alicia", " ## +UNO /$/ bobby")},
        // What was not confirmed comes again, numbered as before, and stays
        // whatever the kernel acknowledged ...
        {"bobby", receipts, to("bobby", in + " ## +OM /$/ 2" + item("two", 2) + item("three", 3))},
    });
    EXPECT_TRUE(written.empty());
    EXPECT_NE(logText.str().find("cmdRC with a list that is not numbers refused"),
              std::string::npos);
    // ... until it is confirmed. A client without receipts still reads the
    // plain bytes, and the old rule holds for it.
    play({{"bobby", " ## cmdRC /:/ bobby /:/ 3", {}},
          {"bobby", kDrop, {}},
          {"bobby", li("bobby"),
           to("bobby", plainIn + " ## +OM /$/ 1 :%: two :/ alicia :/ YYYY-MM-DD HH:MM:SS")}});
    EXPECT_EQ(written, std::vector<std::int64_t>{2});
}

TEST_P(HubTest, VerifiedPasswordsAreCachedAndWeakHashesUpgraded) {
    addUser("alicia"); // at the cheap cost
    config.hashCost = core::HashCost::Interactive;
    const std::string cheap = store.findUser("alicia")->hash;
    EXPECT_TRUE(send("a1", li("alicia"))["a1"].starts_with(" ## +LI /$/ Login=True"));
    EXPECT_EQ(passwordJobs, 1);
    const std::string upgraded = store.findUser("alicia")->hash;
    EXPECT_NE(upgraded, cheap);
    EXPECT_TRUE(core::PasswordHasher(core::HashCost::Fast).verify(upgraded, "secret"));
    // A reconnect is checked against the cache; a wrong password is not.
    EXPECT_TRUE(send("a2", li("alicia"))["a2"].starts_with(" ## +LI /$/ Login=True"));
    EXPECT_EQ(passwordJobs, 1);
    play({{"a3", " ## cmdLI /:/ alicia /:/ wrong /:/ 1.4", to("a3", " ## +LI /$/ Login=False")}});
    EXPECT_EQ(passwordJobs, 2);
    // A changed password no longer matches what the cache holds.
    store.setHash(store.findUser("alicia")->id,
                  core::PasswordHasher(core::HashCost::Fast).hash("other"));
    play({{"a4", li("alicia"), to("a4", " ## +LI /$/ Login=False")}});
    EXPECT_EQ(passwordJobs, 3);
}

INSTANTIATE_TEST_SUITE_P(Engines, HubTest, ::testing::Values("sqlite", "postgresql"),
                         [](const auto& engine) { return engine.param; });

} // namespace velmora::test
