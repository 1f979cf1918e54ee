// File transfer through the real velmorad: offers and their refusals on the
// sessions, and the bytes on data connections, plain and inside TLS.
#include "loopback.h"
#include "support/test_certificate.h"

#include <fcntl.h>

#include <atomic>
#include <thread>

namespace velmora::test {

namespace {

std::string token(int n) {
    char text[33];
    std::snprintf(text, sizeof text, "%032x", n);
    return text;
}

std::string offer(const std::string& to, const std::string& name, std::uint64_t size,
                  const std::string& id) {
    return " ## cmdFR /:/ alicia /:/ " + to + " /:/ " + name + " /:/ " + std::to_string(size) +
           " /:/ " + id;
}

std::string hello(const std::string& id, const char* role, std::uint64_t offset) {
    return " ## cmdFX /:/ " + id + " /:/ " + role + " /:/ " + std::to_string(offset);
}

std::string go(std::uint64_t offset) {
    return " ## +FX /$/ GO /$/ " + std::to_string(offset);
}

// A file whose every byte tells where it stands, and its "digest".
std::string fileBytes(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>((i * 131) >> 8);
    }
    return bytes;
}
const std::string kDigest(64, 'e');
const std::string kOk = " ## +FV /$/ OK";

long rssKiB(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(in, line)) {
        if (line.starts_with("VmRSS:")) {
            return std::stol(line.substr(6));
        }
    }
    return -1;
}

class TransferTest : public LoopbackTest {
protected:
    void SetUp() override {
        for (const char* name : {"alicia", "bobby", "carol1"}) {
            addUser(name);
        }
    }
    void startTls(std::vector<std::string> flags = {}) {
        const auto certificate = makeCertificate(dir.path(), "server");
        flags.insert(flags.end(),
                     {"--tls-listen", "127.0.0.1:0", "--tls-cert", certificate.certificateFile,
                      "--tls-key", certificate.keyFile, "--commands-per-second", "0"});
        start(flags);
    }
    // A data connection on the plain or the TLS port.
    std::unique_ptr<WireClient> data(bool tls) {
        auto client = std::make_unique<WireClient>(tls ? tlsPort : port);
        EXPECT_TRUE(!tls || client->startTls());
        return client;
    }
    // alicia offers bobby `size` bytes under `id`; bobby's data connection
    // asks from `offset`, alicia hears SF and connects; both get GO.
    void join(WireClient& alicia, WireClient& bobby, const std::string& id, std::uint64_t size,
              std::uint64_t offset, WireClient& r, WireClient& s) {
        alicia.send(offer("bobby", "big.bin", size, id));
        EXPECT_EQ(bobby.readThrough(id),
                  " ## +FR /$/ alicia /$/ big.bin /$/ " + std::to_string(size) + " /$/ " + id);
        r.send(hello(id, "R", offset));
        const std::string sf = " ## +FA /$/ SF /$/ " + id + " /$/ " + std::to_string(offset);
        EXPECT_EQ(alicia.readThrough(sf), sf);
        s.send(hello(id, "S", 0));
        EXPECT_EQ(r.readThrough(go(offset)), go(offset));
        EXPECT_EQ(s.readThrough(go(offset)), go(offset));
    }
};

} // namespace

TEST_F(TransferTest, OffersAreCheckedRelayedAndForgotten) {
    start({"--file-max-bytes", "1000000", "--commands-per-second", "0"});
    WireClient alicia(port), bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    const std::string id = token(1);
    // Refused: a path, a size past the limit, a token that is no token, an
    // offline and an unknown recipient. The client sees why.
    alicia.send(offer("bobby", "../../.bashrc", 10, id));
    alicia.send(offer("bobby", "a\\b", 10, id));
    alicia.send(offer("bobby", "big.iso", 1000001, id));
    alicia.send(offer("bobby", "x.txt", 10, "NOT ## +PM"));
    alicia.send(offer("carol1", "x.txt", 10, id));
    alicia.send(offer("nobody1", "x.txt", 10, id));
    EXPECT_EQ(alicia.sync(),
              " ## +FA /$/ FD /$/ " + id + " /$/ invalid ## +FA /$/ FD /$/ " + id +
                  " /$/ invalid ## +FA /$/ FD /$/ " + id +
                  " /$/ too-large ## +FA /$/ FD /$/  /$/ invalid ## +FA /$/ UO /$/ " + id +
                  " /$/ carol1 ## +UNV /$/ nobody1");
    EXPECT_EQ(bobby.sync(), "");
    EXPECT_NE(log().find("alicia file offer to bobby refused: invalid"), std::string::npos);

    // A hundred offers at once: four are held, the rest are busy, and the
    // server's memory does not grow with them.
    const long before = rssKiB(pid);
    std::string burst;
    for (int i = 100; i < 200; ++i) {
        burst += offer("bobby", "f" + std::to_string(i), 10, token(i));
    }
    alicia.send(burst);
    const std::string answers = alicia.sync();
    EXPECT_EQ(bobby.sync().find(" ## +FR /$/ alicia /$/ f104"), std::string::npos);
    std::size_t busy = 0;
    for (std::size_t at = 0; (at = answers.find("/$/ busy", at)) != std::string::npos; ++at) {
        ++busy;
    }
    EXPECT_EQ(busy, 96u);
    EXPECT_LT(rssKiB(pid) - before, 4096);

    // bobby declines one: alicia hears it, its token is unknown from then on;
    // alicia cancels another: bobby hears it. Another pair may not take a
    // held token, and a re-offer of the same pair is relayed again.
    bobby.send(" ## cmdFA /:/ bobby /:/ alicia /:/ " + token(100) + " /:/ FD");
    EXPECT_EQ(alicia.readThrough("declined"), " ## +FA /$/ FD /$/ " + token(100) + " /$/ declined");
    alicia.send(" ## cmdFA /:/ alicia /:/ bobby /:/ " + token(101) + " /:/ FD");
    EXPECT_EQ(bobby.readThrough("cancelled"),
              " ## +FA /$/ FD /$/ " + token(101) + " /$/ cancelled");
    bobby.send(" ## cmdFR /:/ bobby /:/ alicia /:/ x /:/ 1 /:/ " + token(102));
    EXPECT_EQ(bobby.sync(), " ## +FA /$/ FD /$/ " + token(102) + " /$/ invalid");
    alicia.send(offer("bobby", "again", 10, token(102)));
    EXPECT_EQ(bobby.readThrough(token(102)),
              " ## +FR /$/ alicia /$/ again /$/ 10 /$/ " + token(102));
    WireClient late(port);
    late.send(hello(token(100), "R", 0));
    EXPECT_EQ(late.readThrough("unknown"), " ## +FX /$/ NO /$/ unknown");
    EXPECT_TRUE(late.closedByServer());

    // A hello with more after it is refused.
    WireClient chatty(port);
    chatty.send(hello(token(102), "R", 0) + " ## cmdSU /:/ x");
    EXPECT_EQ(chatty.readThrough("invalid"), " ## +FX /$/ NO /$/ invalid");
    // The sender's session ends: its offers end without a word to bobby,
    // and a waiting data connection of them is closed.
    WireClient waiting(port);
    waiting.send(hello(token(103), "R", 0));
    // (chatty's hello was taken before the bytes after it were seen.)
    EXPECT_EQ(alicia.readThrough(token(103) + " /$/ 0"), " ## +FA /$/ SF /$/ " + token(102) +
                                                             " /$/ 0 ## +FA /$/ SF /$/ " +
                                                             token(103) + " /$/ 0");
    alicia.cut();
    EXPECT_EQ(waiting.readThrough("cancelled"), " ## +FX /$/ NO /$/ cancelled");
    EXPECT_TRUE(waiting.closedByServer());
    EXPECT_EQ(bobby.sync(), "");
}

TEST_F(TransferTest, AWholeFileCrossesPlainAndTlsByteForByte) {
    startTls();
    WireClient alicia(port), bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    constexpr std::size_t kSize = 64u << 20;
    const std::string file = fileBytes(kSize);
    for (const bool tls : {false, true}) {
        const std::string id = token(tls ? 2 : 1);
        auto r = data(tls);
        auto s = data(tls);
        join(alicia, bobby, id, kSize, 0, *r, *s);
        std::thread sender([&] { s->send(file + kDigest); });
        const std::string got = r->readExactly(kSize + 64);
        sender.join();
        EXPECT_TRUE(got == file + kDigest) << (tls ? "TLS" : "plain");
        r->send(kOk);
        EXPECT_EQ(s->readExactly(kOk.size()), kOk);
        EXPECT_TRUE(s->closedByServer());
        EXPECT_TRUE(r->closedByServer());
        EXPECT_EQ(r->take(), "");
    }
    (void)alicia.sync();
    EXPECT_NE(log().find("file transfer alicia to bobby done: 67108928 bytes in "),
              std::string::npos);
    // Done means forgotten.
    WireClient again(port);
    again.send(hello(token(1), "R", 0));
    EXPECT_EQ(again.readThrough("unknown"), " ## +FX /$/ NO /$/ unknown");
}

TEST_F(TransferTest, ADroppedReceiverResumesFromItsOffset) {
    start({"--commands-per-second", "0"});
    WireClient alicia(port), bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    constexpr std::size_t kSize = 4u << 20;
    const std::string file = fileBytes(kSize);
    const std::string id = token(7);
    {
        WireClient r(port), s(port);
        join(alicia, bobby, id, kSize, 0, r, s);
        s.send(file.substr(0, 1000000));
        EXPECT_EQ(r.readExactly(1000000), file.substr(0, 1000000));
        r.abort();
        EXPECT_TRUE(s.closedByServer());
    }
    // The offer stays accepted: bobby goes on from what he has.
    WireClient r(port), s(port);
    r.send(hello(id, "R", 1000000));
    const std::string sf = " ## +FA /$/ SF /$/ " + id + " /$/ 1000000";
    EXPECT_EQ(alicia.readThrough(sf), sf);
    s.send(hello(id, "S", 0));
    EXPECT_EQ(r.readThrough(go(1000000)), go(1000000));
    EXPECT_EQ(s.readThrough(go(1000000)), go(1000000));
    std::thread sender([&] { s.send(file.substr(1000000) + kDigest); });
    EXPECT_TRUE(r.readExactly(kSize - 1000000 + 64) == file.substr(1000000) + kDigest);
    sender.join();
    r.send(kOk);
    EXPECT_EQ(s.readExactly(kOk.size()), kOk);
    EXPECT_TRUE(r.closedByServer());
}

TEST_F(TransferTest, ALyingSenderIsCutOffAtItsSize) {
    start({"--commands-per-second", "0"});
    WireClient alicia(port), bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    WireClient r(port), s(port);
    join(alicia, bobby, token(9), 1000, 0, r, s);
    const std::string more = fileBytes(5000);
    s.send(more);
    EXPECT_EQ(r.readExactly(1064), more.substr(0, 1064));
    r.send(" ## +FV /$/ BAD");
    EXPECT_TRUE(r.closedByServer());
    EXPECT_EQ(r.take(), "");
    EXPECT_NE(log().find("file transfer alicia to bobby: the sender sent more than the 1064 bytes "
                         "announced: refused, cut off"),
              std::string::npos);
}

TEST_F(TransferTest, AReceiverThatNeverReadsCostsBoundedMemory) {
    start({"--commands-per-second", "0"});
    WireClient alicia(port), bobby(port);
    alicia.login("alicia");
    bobby.login("bobby");
    constexpr std::uint64_t kSize = 256u << 20;
    WireClient r(port), s(port);
    join(alicia, bobby, token(11), kSize, 0, r, s);
    const long before = rssKiB(pid);
    // Push until the server takes no more (its socket stays full for a
    // second) or all of it went; the server's memory stays where it was.
    fcntl(s.fd(), F_SETFL, fcntl(s.fd(), F_GETFL) | O_NONBLOCK);
    const std::string chunk(1 << 20, 'x');
    std::uint64_t sent = 0;
    long peak = before;
    pollfd p{s.fd(), POLLOUT, 0};
    while (sent < kSize && poll(&p, 1, 1000) > 0) {
        const ssize_t n = ::send(s.fd(), chunk.data(), chunk.size(), MSG_NOSIGNAL);
        sent += n > 0 ? static_cast<std::uint64_t>(n) : 0;
        peak = std::max(peak, rssKiB(pid));
    }
    EXPECT_GT(sent, 1u << 20);
    EXPECT_LT(sent, kSize);
    EXPECT_LT(peak - before, 8192) << "KiB more while " << sent << " bytes waited";
}

} // namespace velmora::test
