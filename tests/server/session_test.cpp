#include "loopback.h"

namespace velmora::test {

TEST_F(LoopbackTest, LostConnectionsEndPresenceAndRoomsAndASecondLoginClosesTheFirst) {
    addUser("alicia");
    addUser("bobby");
    start();
    WireClient alicia(port);
    alicia.login("alicia");
    alicia.send(" ## cmdAB /:/ alicia /:/ bobby ## cmdCO /:/ alicia /:/ lobby");
    (void)alicia.sync();
    WireClient bobby(port);
    bobby.login("bobby");
    bobby.send(" ## cmdCO /:/ bobby /:/ lobby");
    (void)bobby.sync();
    EXPECT_EQ(alicia.sync(), " ## +LOn /$/ bobby ## +CO /$/ bobby");

    bobby.abort();
    EXPECT_EQ(alicia.readThrough(" ## +LOff /$/ bobby"), " ## +CE /$/ bobby ## +LOff /$/ bobby");

    WireClient again(port);
    again.login("alicia");
    EXPECT_TRUE(alicia.closedByServer());
    EXPECT_EQ(stop(), 0);
    EXPECT_NE(log().find("replaced by a new login"), std::string::npos);
}

} // namespace velmora::test
