#include "loopback.h"
#include "support/test_certificate.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace velmora::test {

namespace {

// A datagram socket in the place of systemd's: the server's notifications
// arrive here, one per datagram, read at once as systemd does (a socket
// left unread would hold the server's sender). The server inherits the
// environment.
class NotifySocket {
public:
    explicit NotifySocket(const std::string& path) : fd_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
        setenv("WATCHDOG_USEC", "100000", 1); // fed every 50 ms
        reader_ = std::thread([this] {
            char buffer[512];
            for (ssize_t n; (n = recv(fd_, buffer, sizeof buffer, 0)) > 0;) {
                const std::lock_guard lock(mutex_);
                got_.emplace_back(buffer, static_cast<std::size_t>(n));
                arrived_.notify_all();
            }
        });
    }
    ~NotifySocket() {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
        shutdown(fd_, SHUT_RDWR);
        reader_.join();
        close(fd_);
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    // The next notification that is not the watchdog's, waiting up to 10 s.
    std::string next() {
        std::unique_lock lock(mutex_);
        for (;;) {
            if (!arrived_.wait_for(lock, std::chrono::seconds(10),
                                   [this] { return taken_ < got_.size(); })) {
                return "(nothing)";
            }
            if (got_[taken_++] != "WATCHDOG=1") {
                return got_[taken_ - 1];
            }
        }
    }
    // Waits up to 10 s for the watchdog to be fed.
    bool fed() {
        std::unique_lock lock(mutex_);
        return arrived_.wait_for(lock, std::chrono::seconds(10), [this] {
            return std::find(got_.begin(), got_.end(), "WATCHDOG=1") != got_.end();
        });
    }

private:
    int fd_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<std::string> got_;
    std::size_t taken_ = 0;
    std::thread reader_;
};

void write(const std::string& path, const std::string& text) {
    std::ofstream(path) << text;
}

} // namespace

TEST_F(LoopbackTest, AHangupReloadsCertificateAndSettingsAndKeepsEveryoneConnected) {
    const auto first = makeCertificate(dir.path(), "first");
    const auto second = makeCertificate(dir.path(), "second");
    const std::string config = dir.file("velmorad.conf");
    const auto settings = [&](const TestCertificate& c, const std::string& extra) {
        write(config,
              "tls-cert = " + c.certificateFile + "\ntls-key = " + c.keyFile + "\n" + extra);
    };
    settings(first, "welcome = hello\n");
    for (const char* name : {"alicia", "bobby", "carol1"}) {
        addUser(name);
    }
    NotifySocket notify(dir.file("notify"));
    start({"--config", config, "--tls-listen", "127.0.0.1:0"});
    EXPECT_EQ(notify.next(), "READY=1");

    WireClient alicia(tlsPort);
    ASSERT_TRUE(alicia.startTls());
    EXPECT_EQ(alicia.peerFingerprint(), first.fingerprint);
    alicia.login("alicia");

    // A new certificate, a new notice and a smaller record limit.
    settings(second, "welcome = hello again\nmax-record-bytes = 300\n");
    ::kill(pid, SIGHUP);
    EXPECT_TRUE(notify.next().starts_with("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_EQ(notify.next(), "READY=1");

    // alicia keeps her session and her TLS stream; newcomers see the new
    // certificate and the new settings.
    WireClient bobby(tlsPort);
    ASSERT_TRUE(bobby.startTls());
    EXPECT_EQ(bobby.peerFingerprint(), second.fingerprint);
    bobby.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    EXPECT_NE(bobby.readThrough("hello%%again"), "");
    (void)bobby.sync();
    alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ still here /:/ Arial /:/ 10 /:/ B");
    EXPECT_EQ(bobby.readThrough("/$/ B"),
              " ## +PM /$/ alicia /$/ still here /$/ Arial /$/ 10 /$/ B");
    WireClient wordy(port);
    wordy.send(" ## cmdSU /:/ " + std::string(400, 'x'));
    EXPECT_TRUE(wordy.closedByServer());

    // A file that is not a certificate is refused and changes nothing.
    write(dir.file("broken.crt"), "-----BEGIN CERTIFICATE-----\nnot one\n");
    settings({dir.file("broken.crt"), second.keyFile, {}}, "welcome = never\n");
    ::kill(pid, SIGHUP);
    EXPECT_TRUE(notify.next().starts_with("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_EQ(notify.next(), "READY=1");
    WireClient carol(tlsPort);
    ASSERT_TRUE(carol.startTls());
    EXPECT_EQ(carol.peerFingerprint(), second.fingerprint);
    carol.send(" ## cmdLI /:/ carol1 /:/ secret /:/ 1.4");
    EXPECT_NE(carol.readThrough("hello%%again"), "");
    (void)alicia.sync();

    EXPECT_TRUE(notify.fed());
    EXPECT_EQ(stop(), 0);
    EXPECT_EQ(notify.next(), "STOPPING=1");
    const std::string lines = log();
    EXPECT_NE(lines.find("configuration reloaded"), std::string::npos) << lines;
    EXPECT_NE(lines.find("closed (command over 300 bytes"), std::string::npos);
    EXPECT_NE(lines.find("reload refused, the settings stay as they were: --tls-cert " +
                         dir.file("broken.crt")),
              std::string::npos);
}

} // namespace velmora::test
