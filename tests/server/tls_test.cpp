#include "loopback.h"
#include "support/test_certificate.h"

namespace velmora::test {

TEST_F(LoopbackTest, TheTlsPortCarriesTheProtocolAndRefusesWhatIsNotTls) {
    const auto certificate = makeCertificate(dir.path(), "server");
    const auto other = makeCertificate(dir.path(), "other");
    const std::string cert = certificate.certificateFile, key = certificate.keyFile;
    // Flags that cannot work stop the server at once.
    EXPECT_EQ(runVelmorad({"--tls-listen", "127.0.0.1:0", "--tls-cert", cert}), 2);
    EXPECT_EQ(runVelmorad({"--listen", "off"}), 2);
    EXPECT_EQ(runVelmorad(
                  {"--tls-listen", "127.0.0.1:0", "--tls-cert", key, "--tls-key", key, "--db", db}),
              1);
    EXPECT_EQ(runVelmorad({"--tls-listen", "127.0.0.1:0", "--tls-cert", cert, "--tls-key",
                           other.keyFile, "--db", db}),
              1);
    for (const char* name : {"alicia", "bobby", "carol1"}) {
        addUser(name);
    }
    start({"--tls-listen", "127.0.0.1:0", "--tls-cert", cert, "--tls-key", key, "--login-timeout-s",
           "2", "--max-pending-bytes", "65536", "--commands-per-second", "0"});

    // alicia inside TLS and bobby in the clear share one server.
    WireClient alicia(tlsPort);
    ASSERT_TRUE(alicia.startTls());
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ over%%tls /:/ Arial /:/ 10 /:/ B");
    EXPECT_EQ(bobby.readThrough("/$/ B"),
              " ## +PM /$/ alicia /$/ over%%tls /$/ Arial /$/ 10 /$/ B");

    // A plain client, a handshake of garbage, TLS 1.1 and a handshake that
    // never ends are each refused and logged; the others talk on.
    WireClient plain(tlsPort);
    plain.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    WireClient garbage(tlsPort);
    garbage.send(std::string("\x16\x03\x01\x00\x20", 5) + std::string(32, '\xee'));
    WireClient old(tlsPort);
    EXPECT_FALSE(old.startTls(TLS1_1_VERSION));
    WireClient slow(tlsPort);
    slow.send(std::string("\x16\x03\x01", 3));
    EXPECT_TRUE(plain.closedByServer());
    EXPECT_TRUE(garbage.closedByServer());
    EXPECT_TRUE(slow.closedByServer());
    EXPECT_NE(log().find("closed (TLS handshake failed: wrong version number)"), std::string::npos);
    EXPECT_NE(log().find("closed (TLS handshake failed: unsupported protocol)"), std::string::npos);
    EXPECT_NE(log().find("closed (no login within 2 s)"), std::string::npos);
    const std::string body(15000, 'm');
    bobby.send(" ## cmdPM /:/ bobby /:/ alicia /:/ " + body + " /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(alicia.readThrough(" /$/ 9 /$/ "),
              " ## +PM /$/ bobby /$/ " + body + " /$/ A /$/ 9 /$/ ");

    // A mailbox far over the output limit reaches carol1 over TLS 1.2 page
    // by page, each page leaving once the peer acknowledged the ciphertext
    // of the one before; all of it acknowledged, none of it comes again.
    constexpr int kCount = 60;
    for (int i = 0; i < kCount; ++i) {
        bobby.send(" ## cmdPM /:/ bobby /:/ carol1 /:/ " + std::to_string(i) + body +
                   " /:/ A /:/ 9 /:/ ");
    }
    (void)bobby.sync();
    for (const int version : {TLS1_2_VERSION, 0}) {
        WireClient carol(tlsPort);
        ASSERT_TRUE(carol.startTls(version));
        carol.send(" ## cmdLI /:/ carol1 /:/ secret /:/ 1.4");
        const std::string got =
            version == 0 ? carol.sync()
                         : carol.readThrough(std::to_string(kCount - 1) + body) + carol.sync();
        EXPECT_EQ(std::count(got.begin(), got.end(), '%'), version == 0 ? 0 : kCount);
    }
    EXPECT_EQ(stop(), 0);
}

} // namespace velmora::test
