#include "loopback.h"
#include "support/test_certificate.h"

namespace velmora::test {

namespace {
std::vector<std::string> tlsFlags(const TestCertificate& certificate) {
    return {"--tls-listen", "127.0.0.1:0",      "--tls-cert", certificate.certificateFile,
            "--tls-key",    certificate.keyFile};
}
} // namespace

TEST_F(LoopbackTest, TheTlsPortCarriesTheProtocolAndRefusesWhatIsNotTls) {
    const auto certificate = makeCertificate(dir.path(), "server");
    addUser("alicia");
    addUser("bobby");
    auto flags = tlsFlags(certificate);
    flags.insert(flags.end(), {"--login-timeout-s", "2"});
    start(flags);

    // alicia inside TLS and bobby in the clear share one server.
    WireClient alicia(tlsPort);
    ASSERT_TRUE(alicia.startTls());
    WireClient bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    alicia.send(" ## cmdAB /:/ alicia /:/ bobby");
    EXPECT_EQ(alicia.sync(), " ## +BL /$/ n %/ bobby");
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ over%%tls /:/ Arial /:/ 10 /:/ B");
    EXPECT_EQ(bobby.readThrough("/$/ B"),
              " ## +PM /$/ alicia /$/ over%%tls /$/ Arial /$/ 10 /$/ B");
    bobby.send(" ## cmdPM /:/ bobby /:/ alicia /:/ " + std::string(15000, 'w') +
               " /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(alicia.readThrough(" /$/ 9 /$/ "),
              " ## +PM /$/ bobby /$/ " + std::string(15000, 'w') + " /$/ A /$/ 9 /$/ ");

    // A plain client, a handshake of garbage, an old TLS version and a
    // handshake that never ends are each refused and logged.
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
    const std::string log = this->log();
    EXPECT_NE(log.find("closed (TLS handshake failed: wrong version number)"), std::string::npos);
    EXPECT_NE(log.find("closed (TLS handshake failed: unsupported protocol)"), std::string::npos);
    EXPECT_NE(log.find("closed (no login within 2 s)"), std::string::npos);

    // The two talk on as before.
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ still%%here /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(bobby.readThrough(" /$/ 9 /$/ "),
              " ## +PM /$/ alicia /$/ still%%here /$/ A /$/ 9 /$/ ");
    EXPECT_EQ(stop(), 0);
}

TEST_F(LoopbackTest, OverTlsAMailboxLargerThanTheOutputLimitArrivesWholeAndOnce) {
    const auto certificate = makeCertificate(dir.path(), "server");
    addUser("alicia");
    addUser("bobby");
    auto flags = tlsFlags(certificate);
    flags.insert(flags.end(), {"--max-pending-bytes", "65536", "--commands-per-second", "0"});
    start(flags);
    WireClient alicia(port);
    alicia.login("alicia");
    constexpr int kCount = 100;
    const std::string body(15000, 'm');
    std::string burst;
    for (int i = 0; i < kCount; ++i) {
        burst +=
            " ## cmdPM /:/ alicia /:/ bobby /:/ " + std::to_string(i) + body + " /:/ A /:/ 9 /:/ ";
    }
    alicia.send(burst);
    (void)alicia.sync();

    // Pages leave as the peer acknowledges the ciphertext of the one before;
    // TLS 1.2 here, 1.3 above.
    {
        WireClient bobby(tlsPort);
        ASSERT_TRUE(bobby.startTls(TLS1_2_VERSION));
        bobby.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
        std::string got = bobby.readThrough(std::to_string(kCount - 1) + body);
        got += bobby.sync();
        std::size_t at = 0;
        for (int i = 0; i < kCount && at != std::string::npos; ++i) {
            at = got.find(" :%: " + std::to_string(i) + body + " :/ alicia :/ ", at);
            EXPECT_NE(at, std::string::npos) << "message " << i << " missing or out of order";
        }
        EXPECT_EQ(std::count(got.begin(), got.end(), '%'), kCount);
    }
    // Everything was acknowledged, so nothing comes a second time.
    WireClient again(tlsPort);
    ASSERT_TRUE(again.startTls());
    again.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    EXPECT_EQ(again.sync(), " ## +LI /$/ Login=True ## +SO /$/  /$/ 10 /$/ 1 ## +BL /$/ ");
}

TEST_F(LoopbackTest, TlsFlagsThatCannotWorkAreRefusedAtStart) {
    const auto certificate = makeCertificate(dir.path(), "server");
    const auto other = makeCertificate(dir.path(), "other");
    EXPECT_EQ(runVelmorad({"--tls-listen", "127.0.0.1:0"}), 2);
    EXPECT_EQ(runVelmorad({"--tls-cert", certificate.certificateFile}), 2);
    EXPECT_EQ(runVelmorad({"--listen", "off"}), 2);
    const std::string db = dir.file("v.db");
    EXPECT_EQ(runVelmorad({"--tls-listen", "127.0.0.1:0", "--tls-cert", certificate.keyFile,
                           "--tls-key", certificate.keyFile, "--db", db}),
              1);
    EXPECT_EQ(runVelmorad({"--tls-listen", "127.0.0.1:0", "--tls-cert", certificate.certificateFile,
                           "--tls-key", other.keyFile, "--db", db}),
              1);

    // TLS alone: the only port is the TLS one.
    auto flags = tlsFlags(certificate);
    flags.insert(flags.end(), {"--listen", "off"});
    addUser("alicia");
    start(flags);
    WireClient alicia(tlsPort);
    ASSERT_TRUE(alicia.startTls());
    alicia.login("alicia");
}

} // namespace velmora::test
