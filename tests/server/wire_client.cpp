#include "wire_client.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

namespace velmora::test {

namespace {
constexpr int kWaitMs = 10000;
}

WireClient::WireClient(unsigned short port, int receiveBuffer) {
    fd_ = socket(AF_INET, SOCK_STREAM, 0);
    if (receiveBuffer > 0) {
        setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    const int one = 1;
    setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(port);
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        throw std::runtime_error("cannot connect to velmorad");
    }
}

WireClient::~WireClient() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

void WireClient::send(const std::string& bytes) {
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return;
        }
        sent += static_cast<std::size_t>(n);
    }
}

bool WireClient::fill() {
    pollfd p{fd_, POLLIN, 0};
    if (poll(&p, 1, kWaitMs) <= 0) {
        return false;
    }
    char chunk[65536];
    const ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
    if (n <= 0) {
        return false;
    }
    pending_.append(chunk, static_cast<std::size_t>(n));
    return true;
}

std::string WireClient::read(std::size_t n) {
    while (pending_.size() < n && fill()) {
    }
    const std::string out = pending_.substr(0, n);
    pending_.erase(0, out.size());
    return out;
}

std::string WireClient::readThrough(const std::string& text) {
    std::size_t at = std::string::npos;
    while ((at = pending_.find(text)) == std::string::npos && fill()) {
    }
    if (at == std::string::npos) {
        ADD_FAILURE() << "never received \"" << text << "\"";
        return std::exchange(pending_, {});
    }
    const std::string out = pending_.substr(0, at + text.size());
    pending_.erase(0, out.size());
    return out;
}

std::string WireClient::sync() {
    send(" ## cmdSU /:/ no-such-name-at-all");
    const std::string got = readThrough(" ## +SU /$/ ");
    return got.substr(0, got.size() - std::string(" ## +SU /$/ ").size());
}

bool WireClient::closedByServer() {
    while (fill()) {
    }
    pollfd p{fd_, POLLIN, 0};
    char byte = 0;
    return poll(&p, 1, 0) == 1 && recv(fd_, &byte, 1, MSG_DONTWAIT) <= 0;
}

void WireClient::login(const std::string& name, const std::string& password) {
    send(" ## cmdLI /:/ " + name + " /:/ " + password + " /:/ 1.4");
    EXPECT_EQ(read(22), " ## +LI /$/ Login=True");
    (void)readThrough(" ## +BL /$/ ");
    (void)sync();
}

void WireClient::abort() {
    const linger reset{1, 0};
    setsockopt(fd_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close(fd_);
    fd_ = -1;
}

} // namespace velmora::test
