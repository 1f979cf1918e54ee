// The user's own account from the client: a new password, and the account
// deleted, against the real velmorad.
#include "loopback.h"

namespace velmora::test {

namespace {
bool logsIn(unsigned short port, const std::string& name, const std::string& password,
            const char* from = nullptr) {
    WireClient client(port, 0, from);
    client.send(" ## cmdLI /:/ " + name + " /:/ " + password + " /:/ 1.4");
    (void)client.readThrough(" ## +LI /$/ Login=");
    return client.readExactly(4) == "True";
}
} // namespace

TEST_F(LoopbackTest, ChangePasswordAnswersEachOutcome) {
    addUser("alicia");
    start({"--max-logins-per-minute", "3"});
    WireClient alicia(port);
    alicia.login("alicia");
    const auto change = [&](const std::string& from, const std::string& to) {
        // At the fast cost the password work is done in line, before the search.
        alicia.send(" ## cmdCP /:/ alicia /:/ " + from + " /:/ " + to);
        return alicia.sync();
    };
    EXPECT_EQ(change("secret", "a:bcdef"), " ## +CP /$/ IN");
    EXPECT_EQ(change("wrong1", "n3w-secret"), " ## +CP /$/ WP");
    EXPECT_EQ(change("secret", "n3w-secret"), " ## +CP /$/ OK");
    EXPECT_FALSE(logsIn(port, "alicia", "secret", "127.0.0.2"));
    // Wrong current passwords count against the address as failed logins.
    EXPECT_EQ(change("wrong2", "other-secret"), " ## +CP /$/ WP");
    EXPECT_EQ(change("wrong3", "other-secret"), " ## +CP /$/ WP");
    EXPECT_EQ(change("n3w-secret", "other-secret"), " ## +CP /$/ LIM");
    EXPECT_NE(log().find("alicia password change: LIM"), std::string::npos);
    EXPECT_TRUE(logsIn(port, "alicia", "n3w-secret", "127.0.0.2"));

    stop();
    start({"--signup", "off"});
    WireClient again(port);
    again.send(" ## cmdLI /:/ alicia /:/ n3w-secret /:/ 1.4");
    (void)again.readThrough(" ## +BL /$/ ");
    again.send(" ## cmdCP /:/ alicia /:/ n3w-secret /:/ other-secret");
    again.send(" ## cmdDA /:/ alicia /:/ n3w-secret");
    EXPECT_EQ(again.readThrough(" ## +DA /$/ RNE"), " ## +CP /$/ RNE ## +DA /$/ RNE");
}

TEST_F(LoopbackTest, DeletedAccountIsGoneAndItsNameStaysTaken) {
    addUser("alicia");
    addUser("bobby");
    start();
    WireClient alicia(port);
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    alicia.send(" ## cmdAB /:/ alicia /:/ bobby");
    bobby.send(" ## cmdAB /:/ bobby /:/ alicia");
    (void)alicia.sync();
    (void)bobby.sync();

    alicia.send(" ## cmdDA /:/ alicia /:/ wrong1");
    EXPECT_EQ(alicia.readThrough(" ## +DA /$/ WP"), " ## +DA /$/ WP");
    alicia.send(" ## cmdDA /:/ alicia /:/ secret");
    EXPECT_EQ(alicia.readThrough(" ## +DA /$/ OK"), " ## +DA /$/ OK");
    EXPECT_TRUE(alicia.closedByServer());
    EXPECT_EQ(bobby.readThrough(" ## +LOff /$/ alicia"), " ## +LOff /$/ alicia");
    // Gone from bobby's list too; the name cannot be signed up again.
    bobby.send(" ## cmdDB /:/ bobby /:/ nobody");
    EXPECT_EQ(bobby.readThrough(" ## +BL /$/ "), " ## +BL /$/ ");
    EXPECT_FALSE(logsIn(port, "alicia", "secret"));
    WireClient newcomer(port);
    newcomer.send(" ## cmdRA /:/ ALICIA /:/ secret /:/ 1.4");
    EXPECT_EQ(newcomer.readThrough(" ## +RU /$/ UE"), " ## +RU /$/ UE");
    EXPECT_NE(log().find("alicia account deletion: OK"), std::string::npos);
}

} // namespace velmora::test
