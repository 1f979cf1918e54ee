// Accounts, buddies and offline messages are checked through the hub and the
// running server; what is left is opening a database this version cannot use.
#include "store/schema.h"
#include "store/store.h"
#include "temp_dir.h"

#include <gtest/gtest.h>

using velmora::server::store::Database;
using velmora::server::store::Store;

TEST(Store, SchemaVersionIsTrackedAndANewerDatabaseIsRefused) {
    velmora::test::TempDir dir;
    const std::string path = dir.file("v.db");
    { Store store(path); }
    {
        Database db(path);
        EXPECT_EQ(velmora::server::store::schemaVersion(db), 1);
        db.exec("PRAGMA user_version = 99");
    }
    EXPECT_THROW(Store{path}, velmora::server::store::StoreError);
}
