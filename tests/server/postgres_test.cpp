#include "loopback.h"
#include "postgres_cluster.h"

namespace velmora::test {

TEST_F(LoopbackTest, OnPostgresAStoredMessageOutlivesAKilledServer) {
    auto& cluster = PostgresCluster::get();
    if (!cluster.running()) {
        GTEST_SKIP() << PostgresCluster::kMissing;
    }
    db = cluster.newDatabase();
    addUser("alicia");
    addUser("bobby");
    EXPECT_EQ(runVelmorad({"useradd", "BOBBY", "other1", "--db", db}), 1);
    start();
    WireClient alicia(port);
    alicia.login("alicia");
    // Bytes that are not UTF-8 come back as they were sent.
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ caf\xe9 /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(alicia.sync(), " ## +UNO /$/ bobby");
    EXPECT_EQ(stop(SIGKILL), 128 + SIGKILL);

    start();
    WireClient bobby(port);
    bobby.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    EXPECT_NE(bobby.readThrough(" :/ alicia :/ ").find(" ## +OM /$/ 1 :%: caf\xe9 :/ alicia"),
              std::string::npos);
    EXPECT_EQ(stop(), 0);

    // A database written by a newer server is refused rather than changed.
    server::store::PgConnection(db).exec("UPDATE schema_version SET version = 99");
    EXPECT_EQ(runVelmorad({"useradd", "carol1", "secret", "--db", db}), 1);
}

} // namespace velmora::test
