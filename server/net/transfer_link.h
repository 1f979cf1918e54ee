// The state of one offer's data connections inside the relay: its two
// ends and each direction's bytes in flight. Private to the relay.
#pragma once

#include "net/transfer_relay.h"

#include <sys/socket.h>
#include <unistd.h>

namespace velmora::server::net {

struct TransferRelay::End {
    core::ConnId id = 0;
    int fd = -1;
    std::unique_ptr<TlsStream> tls;
    std::string address;
    // A record of ours (GO or NO) that goes out before anything else.
    std::string out;
    // Edge-triggered: true until a read or write met an empty or full socket.
    bool canRead = true;
    bool canWrite = true;
    bool ended = false; // the peer ended its side of the stream

    ~End() {
        if (fd >= 0) {
            if (tls) {
                tls->close();
            }
            ::close(fd); // also leaves the poller's set
        }
    }
    // As recv() and send(): a count, 0 at the end, -1 with errno.
    ssize_t read(char* into, std::size_t size) const {
        return tls ? tls->read(into, size) : ::recv(fd, into, size, 0);
    }
    ssize_t write(const char* from, std::size_t size) const {
        return tls ? tls->write(from, size) : ::send(fd, from, size, MSG_NOSIGNAL);
    }
    [[nodiscard]] std::string failure() const;
    // Sends what is left of `out`; false on a failure.
    bool flushOut();
};

struct TransferRelay::Link {
    std::string token;
    std::string sender;
    std::string recipient;
    std::uint64_t size = 0;
    std::uint64_t offset = 0; // the receiver's
    std::unique_ptr<End> s;
    std::unique_ptr<End> r;
    bool going = false;
    // Sender to receiver: still to read, and read so far.
    std::uint64_t toReceiver = 0;
    std::uint64_t passed = 0;
    // The sender sent past its count: it is read no more.
    bool overrun = false;
    // Receiver to sender: the verdict as it came, and how much of it went on.
    std::string verdict;
    std::size_t verdictSent = 0;
    bool verdictOver = false; // nothing more is taken from the receiver
    // Two plain ends: a pipe. Otherwise a buffer.
    int pipe[2] = {-1, -1};
    std::size_t inPipe = 0;
    std::size_t pipeRoom = 0;
    std::unique_ptr<char[]> buffer;
    std::size_t bufferAt = 0;
    std::size_t bufferEnd = 0;
    Clock::time_point started;
    Clock::time_point progress;
    // Only a sender held back by the rate has one.
    std::unique_ptr<asio::steady_timer> tokenWait;

    ~Link() {
        for (const int fd : pipe) {
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }
};

} // namespace velmora::server::net
