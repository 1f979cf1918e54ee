// The real velmorad binary (path from $VELMORAD) and a blocking client that
// speaks the wire format byte for byte, in the clear or inside TLS.
#pragma once

#include "temp_dir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace velmora::test {

// Enters the network namespace of that file (from `ip netns add`); false
// when it cannot (not root, no namespaces).
inline bool enterNetns(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const bool entered = fd >= 0 && setns(fd, CLONE_NEWNET) == 0;
    if (fd >= 0) {
        close(fd);
    }
    return entered;
}

// `netns`, when given, is the network namespace the server runs in;
// `descriptors`, when not 0, its soft and hard RLIMIT_NOFILE.
inline pid_t spawn(std::vector<std::string> args, int out, int err, const std::string& netns = {},
                   rlim_t descriptors = 0) {
    const char* path = std::getenv("VELMORAD");
    if (!path) {
        throw std::runtime_error("VELMORAD is not set");
    }
    args.insert(args.begin(), path);
    std::vector<char*> argv;
    for (auto& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        if (!netns.empty() && !enterNetns(netns)) {
            _exit(126);
        }
        const rlimit files{descriptors, descriptors};
        if (descriptors > 0 && setrlimit(RLIMIT_NOFILE, &files) != 0) {
            _exit(125);
        }
        execv(path, argv.data());
        _exit(127);
    }
    return pid;
}

inline int waitFor(pid_t pid) {
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Runs `velmorad args...` to completion; returns its exit status.
inline int runVelmorad(const std::vector<std::string>& args) {
    const int devNull = open("/dev/null", O_WRONLY);
    const int status = waitFor(spawn(args, devNull, devNull));
    close(devNull);
    return status;
}

class WireClient {
public:
    // `receiveBuffer` > 0 shrinks the socket's receive buffer (a slow reader);
    // `from` is a loopback source address other than 127.0.0.1.
    explicit WireClient(unsigned short port, int receiveBuffer = 0, const char* from = nullptr,
                        const char* to = "127.0.0.1")
        : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
        if (receiveBuffer > 0) {
            setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        }
        const int one = 1;
        setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        if (from) {
            sockaddr_in local{};
            local.sin_family = AF_INET;
            inet_pton(AF_INET, from, &local.sin_addr);
            bind(fd_, reinterpret_cast<sockaddr*>(&local), sizeof local);
        }
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_port = htons(port);
        inet_pton(AF_INET, to, &addr.sin_addr);
        if (connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
            throw std::runtime_error("cannot connect to velmorad");
        }
    }
    ~WireClient() {
        SSL_free(tls_);
        SSL_CTX_free(tlsContext_);
        close(fd_); // -1 after abort(): nothing to close
    }
    WireClient(const WireClient&) = delete;
    WireClient& operator=(const WireClient&) = delete;

    // Speaks TLS from here on, offering versions up to `maxVersion` (all
    // when 0, old ones too, so that a test can offer what the server must
    // refuse). The certificate is not checked. False when the handshake failed.
    bool startTls(int maxVersion = 0) {
        tlsContext_ = SSL_CTX_new(TLS_client_method());
        SSL_CTX_set_security_level(tlsContext_, 0);
        SSL_CTX_set_min_proto_version(tlsContext_, 0);
        SSL_CTX_set_max_proto_version(tlsContext_, maxVersion);
        tls_ = SSL_new(tlsContext_);
        SSL_set_fd(tls_, fd_);
        return SSL_connect(tls_) == 1;
    }

    void send(const std::string& bytes) {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const auto size = bytes.size() - sent;
            const ssize_t n = tls_ ? SSL_write(tls_, bytes.data() + sent, static_cast<int>(size))
                                   : ::send(fd_, bytes.data() + sent, size, MSG_NOSIGNAL);
            if (n <= 0) {
                return;
            }
            sent += static_cast<std::size_t>(n);
        }
    }

    // Everything received up to and including `text`, waiting up to 10 s.
    [[nodiscard]] std::string readThrough(const std::string& text) {
        std::size_t at = 0;
        while ((at = pending_.find(text)) == std::string::npos && fill() > 0) {
        }
        EXPECT_NE(at, std::string::npos) << "never received \"" << text << "\"";
        const std::string out = pending_.substr(0, at == std::string::npos ? at : at + text.size());
        pending_.erase(0, out.size());
        return out;
    }

    // Everything received before the answer to a search sent now: once that
    // is back, the server has handled all this client sent before it.
    [[nodiscard]] std::string sync() {
        send(" ## cmdSU /:/ no-such-name-at-all");
        const std::string got = readThrough(" ## +SU /$/ ");
        return got.substr(0, got.size() - 12);
    }

    // The login is sent alone, so the server takes it once the client goes quiet.
    void login(const std::string& name) {
        send(" ## cmdLI /:/ " + name + " /:/ secret /:/ 1.4");
        EXPECT_TRUE(readThrough(" ## +BL /$/ ").starts_with(" ## +LI /$/ Login=True"));
        (void)sync();
    }

    // True when the server closed the connection (reads to the end).
    [[nodiscard]] bool closedByServer() {
        ssize_t n = 0;
        while ((n = fill()) > 0) {
        }
        return n == 0;
    }

    // What has arrived by now, waiting up to `ms` for the first bytes.
    [[nodiscard]] std::string take(int ms = 0) {
        pollfd p{fd_, POLLIN, 0};
        for (int wait = ms; poll(&p, 1, wait) > 0 && fill() > 0; wait = 0) {
        }
        return std::exchange(pending_, {});
    }

    // Exactly `count` bytes, fewer when the stream ends or stays silent for 10 s.
    [[nodiscard]] std::string readExactly(std::size_t count) {
        while (pending_.size() < count && fill() > 0) {
        }
        std::string out = pending_.substr(0, count);
        pending_.erase(0, out.size());
        return out;
    }

    [[nodiscard]] int fd() const { return fd_; }

    // The SHA-256 fingerprint of the server's certificate, as openssl
    // prints it ("AB:CD:…"); empty outside TLS.
    [[nodiscard]] std::string peerFingerprint() const {
        X509* certificate = tls_ ? SSL_get1_peer_certificate(tls_) : nullptr;
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned size = 0;
        std::string out;
        if (certificate && X509_digest(certificate, EVP_sha256(), digest, &size) == 1) {
            static constexpr char kHex[] = "0123456789ABCDEF";
            for (unsigned i = 0; i < size; ++i) {
                if (i > 0) {
                    out.push_back(':');
                }
                out.push_back(kHex[digest[i] >> 4]);
                out.push_back(kHex[digest[i] & 15]);
            }
        }
        X509_free(certificate);
        return out;
    }

    // Ends both directions, waking a send blocked in another thread.
    void cut() { shutdown(fd_, SHUT_RDWR); }

    // Resets the connection instead of closing it cleanly.
    void abort() {
        const linger reset{1, 0};
        setsockopt(fd_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        close(std::exchange(fd_, -1));
    }

private:
    // What recv gave, or -1 when nothing came for 10 s.
    ssize_t fill() {
        pollfd p{fd_, POLLIN, 0};
        char chunk[65536];
        const bool waiting = (tls_ && SSL_pending(tls_) > 0) || poll(&p, 1, 10000) > 0;
        const ssize_t n = !waiting ? -1
                          : tls_   ? SSL_read(tls_, chunk, sizeof chunk)
                                   : recv(fd_, chunk, sizeof chunk, 0);
        pending_.append(chunk, n > 0 ? static_cast<std::size_t>(n) : 0);
        return n;
    }

    int fd_;
    std::string pending_;
    SSL_CTX* tlsContext_ = nullptr;
    SSL* tls_ = nullptr;
};

// Each test runs the server on a free port with a fresh folder and database.
class LoopbackTest : public ::testing::Test {
protected:
    ~LoopbackTest() override {
        if (pid > 0) {
            stop();
        }
    }

    void addUser(const std::string& name) {
        ASSERT_EQ(runVelmorad({"useradd", name, "secret", "--db", db, "--hash-cost", "fast"}), 0);
    }

    // Waits for the "listening on" line, which names the port.
    void start(std::vector<std::string> flags = {}) {
        if (std::find(flags.begin(), flags.end(), "--listen") == flags.end()) {
            flags.insert(flags.end(), {"--listen", "127.0.0.1:0"});
        }
        flags.insert(flags.end(), {"--db", db});
        if (std::find(flags.begin(), flags.end(), "--hash-cost") == flags.end()) {
            flags.insert(flags.end(), {"--hash-cost", "fast"});
        }
        int out[2];
        ASSERT_EQ(pipe(out), 0);
        const int log = open(logPath.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
        pid = spawn(flags, out[1], log, netns, descriptors);
        close(out[1]);
        close(log);
        FILE* lines = fdopen(out[0], "r");
        ASSERT_EQ(std::fscanf(lines, "listening on %*[^:]:%hu", &port), 1);
        if (std::find(flags.begin(), flags.end(), "--tls-listen") != flags.end()) {
            ASSERT_EQ(std::fscanf(lines, " listening on %*[^:]:%hu (TLS)", &tlsPort), 1);
        }
        std::fclose(lines);
    }

    // Sends `signal` to the server and waits; returns its exit status.
    int stop(int signal = SIGTERM) {
        ::kill(pid, signal);
        return waitFor(std::exchange(pid, -1));
    }

    [[nodiscard]] std::string log() const {
        std::ifstream in(logPath);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    TempDir dir;
    std::string db = dir.file("v.db");
    std::string logPath = dir.file("velmorad.log");
    pid_t pid = -1;
    unsigned short port = 0;
    unsigned short tlsPort = 0; // with --tls-listen
    std::string netns;          // a namespace file for the server, else this one
    rlim_t descriptors = 0;     // the server's descriptor limit, else this process's
};

} // namespace velmora::test
