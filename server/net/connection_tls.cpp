// The parts of a connection that differ on a TLS port. The plain path only
// tests tls_ where it reads, writes and measures what the peer acknowledged.
#include "net/connection.h"
#include "net/tls.h"

#include <sys/epoll.h>

#include <cerrno>
#include <cstring>

namespace velmora::server::net {

void Connection::useTls(std::unique_ptr<TlsStream> tls) {
    tls_ = std::move(tls);
}

std::string Connection::failureText() const {
    return tls_ ? tls_->failure() : std::string(std::strerror(errno));
}

std::uint64_t Connection::wireWritten() const {
    return tls_ ? tls_->wireWritten() : written_;
}

bool Connection::tlsReady(std::uint32_t& events) {
    if (tls_->established()) {
        if (tls_->readWantsRoom() && (events & EPOLLOUT)) {
            events |= EPOLLIN;
        }
        return true;
    }
    // The handshake runs inside the login time-out: the hub counts this
    // connection as one without a session from its accept on.
    switch (tls_->handshake()) {
    case TlsStream::Step::Again:
        return false;
    case TlsStream::Step::Failed:
        stop("TLS handshake failed: " + tls_->failure());
        return false;
    case TlsStream::Step::Done:
        break;
    }
    // Commands may have come in the handshake's last flight, and output
    // queued meanwhile waits for a write.
    events |= EPOLLIN;
    if (unsent() > 0) {
        events |= EPOLLOUT;
    }
    return true;
}

ssize_t Connection::tlsRead(char* into, std::size_t size) {
    // Records are read until the socket is empty or the buffer full: an
    // edge-triggered socket says nothing again about bytes already waiting.
    std::size_t got = 0;
    while (got < size) {
        const ssize_t n = tls_->read(into + got, size - got);
        if (n > 0) {
            got += static_cast<std::size_t>(n);
            continue;
        }
        if (got == 0) {
            return n;
        }
        if (n == 0 || errno != EAGAIN) {
            readable_ = true; // the end, or the failure, is met by the next read
        }
        break;
    }
    return static_cast<ssize_t>(got);
}

ssize_t Connection::tlsWrite(const char* from, std::size_t size) {
    if (!tls_->established()) {
        errno = EAGAIN; // the handshake's end flushes what waited for it
        return -1;
    }
    return tls_->write(from, size);
}

} // namespace velmora::server::net
