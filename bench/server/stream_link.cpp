#include "stream_link.h"

#include "protocol/transfer.h"
#include "protocol/wire.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace velmora::bench {

namespace proto = velmora::protocol;

namespace {

// A stalled server fails the case instead of hanging the benchmark.
constexpr timeval kStallLimit{60, 0};

[[noreturn]] void fail(const std::string& what) {
    std::string detail;
    if (const unsigned long code = ERR_get_error()) {
        std::array<char, 256> text{};
        ERR_error_string_n(code, text.data(), text.size());
        detail = std::string(": ") + text.data();
    } else if (errno != 0) {
        detail = std::string(": ") + std::strerror(errno);
    }
    throw LinkError(what + detail);
}

// Records after which the awaited one will not come.
bool refused(std::string_view seen) {
    const std::array<std::string, 5> refusals = {
        proto::buildReply(proto::reply::LI, {proto::answer::kLoginFalse}),
        proto::buildReply(proto::reply::FA, {proto::answer::kFileDeclined}),
        proto::buildReply(proto::reply::FA, {proto::answer::kFileUserOffline}),
        proto::buildReply(proto::reply::FX, {proto::transfer::kNo}),
        proto::buildReply(proto::reply::UNV, {}),
    };
    for (const auto& refusal : refusals) {
        if (seen.find(refusal) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

TlsTrust::TlsTrust(const std::filesystem::path& certificate)
    : ctx_(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free) {
    if (!ctx_ || SSL_CTX_load_verify_locations(ctx_.get(), certificate.c_str(), nullptr) != 1) {
        fail("cannot trust " + certificate.string());
    }
    SSL_CTX_set_verify(ctx_.get(), SSL_VERIFY_PEER, nullptr);
    // A peer that closes without close_notify ends the stream as well: the
    // server may close both data connections once it has passed the verdict.
    SSL_CTX_set_options(ctx_.get(), SSL_OP_IGNORE_UNEXPECTED_EOF);
}

StreamLink::StreamLink(unsigned short port, const TlsTrust* tls) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    const int one = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &kStallLimit, sizeof kStallLimit);
    setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &kStallLimit, sizeof kStallLimit);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd_ < 0 || connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        const int err = errno;
        if (fd_ >= 0) {
            close(fd_);
        }
        errno = err;
        fail("cannot connect to port " + std::to_string(port));
    }
    if (tls) {
        ssl_ = SSL_new(tls->context());
        if (!ssl_ || SSL_set_fd(ssl_, fd_) != 1 || SSL_connect(ssl_) != 1) {
            SSL_free(ssl_);
            close(fd_);
            fail("TLS handshake with port " + std::to_string(port) + " failed");
        }
    }
}

StreamLink::~StreamLink() {
    if (ssl_) {
        SSL_shutdown(ssl_);
        SSL_free(ssl_);
    }
    close(fd_);
}

void StreamLink::writeAll(const char* data, std::size_t size) {
    while (size > 0) {
        std::size_t n = 0;
        if (ssl_) {
            if (SSL_write_ex(ssl_, data, size, &n) != 1) {
                fail("TLS write failed");
            }
        } else {
            const ssize_t sent = send(fd_, data, size, MSG_NOSIGNAL);
            if (sent <= 0) {
                fail("write failed");
            }
            n = static_cast<std::size_t>(sent);
        }
        data += n;
        size -= n;
    }
}

void StreamLink::shutdownWrite() {
    if (ssl_ || shutdown(fd_, SHUT_WR) != 0) {
        fail("cannot end the stream");
    }
}

void StreamLink::abort() {
    shutdown(fd_, SHUT_RDWR);
}

std::size_t StreamLink::readSome(char* data, std::size_t size) {
    if (ssl_) {
        std::size_t n = 0;
        if (SSL_read_ex(ssl_, data, size, &n) == 1) {
            return n;
        }
        if (SSL_get_error(ssl_, 0) == SSL_ERROR_ZERO_RETURN) {
            return 0;
        }
        fail("TLS read failed");
    }
    errno = 0;
    const ssize_t n = recv(fd_, data, size, 0);
    if (n < 0) {
        fail("read failed");
    }
    return static_cast<std::size_t>(n);
}

void StreamLink::waitFor(std::string_view record) {
    std::array<char, 4096> chunk{};
    for (;;) {
        if (const auto at = seen_.find(record); at != std::string::npos) {
            seen_.erase(0, at + record.size());
            return;
        }
        if (refused(seen_)) {
            throw LinkError("refused: \"" + seen_ + "\" instead of \"" + std::string(record) +
                            "\"");
        }
        errno = 0;
        const std::size_t n = readSome(chunk.data(), chunk.size());
        if (n == 0) {
            throw LinkError("closed before \"" + std::string(record) + "\", after \"" + seen_ +
                            "\"");
        }
        seen_.append(chunk.data(), n);
    }
}

std::string StreamLink::takeSurplus() {
    return std::exchange(seen_, {});
}

} // namespace velmora::bench
