#include "store/schema.h"
#include "store/store.h"
#include "temp_dir.h"

#include <gtest/gtest.h>

using velmora::server::store::Database;
using velmora::server::store::Store;
using velmora::server::store::StoreError;
using Names = std::vector<std::string>;

TEST(Store, AccountsAreUniqueIgnoringCaseAndKeepTheirCase) {
    velmora::test::TempDir dir;
    Store store(dir.file("v.db"));
    EXPECT_TRUE(store.addUser("Alicia", "h1"));
    EXPECT_FALSE(store.addUser("ALICIA", "h2"));
    const auto found = store.findUser("aLiCiA");
    ASSERT_TRUE(found);
    EXPECT_EQ(found->name, "Alicia");
    EXPECT_EQ(found->hash, "h1");
    EXPECT_FALSE(store.findUser("alici"));
    // A name holding SQL or LIKE wildcards is only ever data.
    EXPECT_FALSE(store.findUser("' OR 1=1 --"));

    for (const char* name : {"bobby", "Bob_by", "carol", "xbobx", "zed-bob"}) {
        ASSERT_TRUE(store.addUser(name, "h"));
    }
    EXPECT_EQ(store.searchUsers("BOB", 100), (Names{"Bob_by", "bobby", "xbobx", "zed-bob"}));
    EXPECT_EQ(store.searchUsers("_", 100), (Names{"Bob_by"}));
    EXPECT_EQ(store.searchUsers("", 2), (Names{"Alicia", "Bob_by"}));
    EXPECT_TRUE(store.searchUsers("%", 100).empty());
}

TEST(Store, BuddyListsKeepTheirOrderAndKnowTheirWatchers) {
    velmora::test::TempDir dir;
    Store store(dir.file("v.db"));
    for (const char* name : {"alicia", "bobby", "carol", "dave1"}) {
        ASSERT_TRUE(store.addUser(name, "h"));
    }
    const auto id = [&](const char* n) { return store.findUser(n)->id; };
    EXPECT_TRUE(store.addBuddy(id("alicia"), id("dave1")));
    EXPECT_TRUE(store.addBuddy(id("alicia"), id("bobby")));
    EXPECT_TRUE(store.addBuddy(id("alicia"), id("carol")));
    EXPECT_FALSE(store.addBuddy(id("alicia"), id("bobby")));
    EXPECT_TRUE(store.addBuddy(id("carol"), id("bobby")));
    EXPECT_EQ(store.buddies(id("alicia")), (Names{"dave1", "bobby", "carol"}));
    EXPECT_EQ(store.watchers(id("bobby")), (Names{"alicia", "carol"}));

    store.removeBuddy(id("alicia"), id("bobby"));
    // Re-adding puts the buddy at the end.
    EXPECT_TRUE(store.addBuddy(id("alicia"), id("bobby")));
    EXPECT_EQ(store.buddies(id("alicia")), (Names{"dave1", "carol", "bobby"}));
    EXPECT_TRUE(store.buddies(id("dave1")).empty());
}

TEST(Store, OfflineMessagesSurviveReopeningUntilRemoved) {
    velmora::test::TempDir dir;
    const std::string path = dir.file("v.db");
    std::int64_t first = 0;
    {
        Store store(path);
        ASSERT_TRUE(store.addUser("bobby", "h"));
        const auto bob = store.findUser("bobby")->id;
        first = store.addOffline(bob, "alicia", "it's%%me", "2024-01-02 03:04:05");
        store.addOffline(bob, "carol", "second", "2024-01-02 03:04:06");
        EXPECT_EQ(store.offlineCount(bob), 2);
    }
    Store store(path);
    const auto bob = store.findUser("bobby")->id;
    const auto waiting = store.offline(bob);
    ASSERT_EQ(waiting.size(), 2u);
    EXPECT_EQ(waiting[0].id, first);
    EXPECT_EQ(waiting[0].sender, "alicia");
    EXPECT_EQ(waiting[0].body, "it's%%me");
    EXPECT_EQ(waiting[0].sent, "2024-01-02 03:04:05");
    EXPECT_EQ(waiting[1].sender, "carol");
    store.removeOffline({first});
    ASSERT_EQ(store.offline(bob).size(), 1u);
    EXPECT_EQ(store.offline(bob)[0].body, "second");
}

TEST(Store, SchemaVersionIsTrackedAndANewerDatabaseIsRefused) {
    velmora::test::TempDir dir;
    const std::string path = dir.file("v.db");
    { Store store(path); }
    {
        Database db(path);
        EXPECT_EQ(velmora::server::store::schemaVersion(db), 1);
        db.exec("PRAGMA user_version = 99");
    }
    EXPECT_THROW(Store{path}, StoreError);
}
