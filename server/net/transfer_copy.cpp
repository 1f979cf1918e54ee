// The copying half of the relay: each call moves what the sockets take now
// and leaves the rest to the next edge.
#include "net/transfer_link.h"
#include "protocol/transfer.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

namespace velmora::server::net {

namespace p = protocol;
namespace reason = protocol::transfer::reason;

namespace {
bool wouldBlock() {
    return errno == EAGAIN || errno == EWOULDBLOCK;
}
} // namespace

void TransferRelay::pump(Link& link) {
    std::string why;
    if (!link.going) {
        End& end = link.s ? *link.s : *link.r;
        if (!checkWaiting(link, end, why)) {
            close(link, why, false);
        }
        return;
    }
    if (!link.s->flushOut() || !link.r->flushOut()) {
        close(link, "write failed: GO not sent", false);
        return;
    }
    if (!link.s->out.empty() || !link.r->out.empty()) {
        return; // the stream follows GO once it is out
    }
    if (!copyToReceiver(link, why) || !verdictToSender(link, why)) {
        close(link, why, false);
        return;
    }
    const bool streamed =
        link.toReceiver == 0 && link.inPipe == 0 && link.bufferAt == link.bufferEnd;
    if (streamed && link.verdictOver && link.verdictSent == link.verdict.size()) {
        close(link, "verdict passed", true);
    }
}

bool TransferRelay::checkWaiting(Link&, End& end, std::string& why) {
    // Nothing may come before GO: a byte now is a peer that does not wait.
    while (end.canRead) {
        char byte = 0;
        const ssize_t n = end.read(&byte, 1);
        if (n > 0) {
            why = reason::kInvalid;
            return false;
        }
        if (n == 0) {
            why = "peer closed";
            return false;
        }
        if (wouldBlock()) {
            end.canRead = false;
        } else if (errno != EINTR) {
            why = end.failure();
            return false;
        }
    }
    return true;
}

bool TransferRelay::copyToReceiver(Link& link, std::string& why) {
    if (!(link.pipe[0] >= 0 ? spliceToReceiver(link, why) : bufferToReceiver(link, why))) {
        return false;
    }
    if (link.toReceiver > 0) {
        if (link.s->ended) {
            why = "sender closed";
            return false;
        }
        return true;
    }
    // The announced count is through: what more the sender sends is refused.
    while (!link.overrun && !link.s->ended && link.s->canRead) {
        char byte = 0;
        const ssize_t n = link.s->read(&byte, 1);
        if (n > 0) {
            link.overrun = true;
            log_.line("file transfer " + link.sender + " to " + link.recipient +
                      ": the sender sent more than the " +
                      std::to_string(link.size - link.offset + p::transfer::kDigestHexChars) +
                      " bytes announced: refused, cut off");
        } else if (n == 0) {
            link.s->ended = true; // a half-close while it waits for the verdict
        } else if (wouldBlock()) {
            link.s->canRead = false;
        } else if (errno != EINTR) {
            why = link.s->failure();
            return false;
        }
    }
    return true;
}

bool TransferRelay::spliceToReceiver(Link& link, std::string& why) {
    End& from = *link.s;
    End& to = *link.r;
    for (bool moved = true; moved;) {
        moved = false;
        if (link.inPipe > 0 && to.canWrite) {
            const ssize_t n = ::splice(link.pipe[0], nullptr, to.fd, nullptr, link.inPipe,
                                       SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
            if (n > 0) {
                link.inPipe -= static_cast<std::size_t>(n);
                moved = true;
            } else if (n < 0 && wouldBlock()) {
                to.canWrite = false;
            } else if (n < 0 && errno != EINTR) {
                why = "receiver: " + to.failure();
                return false;
            }
        }
        const std::uint64_t grant = std::min<std::uint64_t>(
            {link.toReceiver, link.pipeRoom - link.inPipe, allowance(link)});
        if (grant > 0 && from.canRead && !from.ended) {
            const ssize_t n =
                ::splice(from.fd, nullptr, link.pipe[1], nullptr, static_cast<std::size_t>(grant),
                         SPLICE_F_MOVE | SPLICE_F_NONBLOCK);
            if (n > 0) {
                link.inPipe += static_cast<std::size_t>(n);
                link.toReceiver -= static_cast<std::uint64_t>(n);
                link.passed += static_cast<std::uint64_t>(n);
                spend(link, static_cast<std::uint64_t>(n));
                moved = true;
            } else if (n == 0) {
                from.ended = true;
            } else if (wouldBlock()) {
                // The pipe's pages may run out before its bytes do: only an
                // empty pipe proves the socket empty.
                if (link.inPipe == 0) {
                    from.canRead = false;
                }
            } else if (errno != EINTR) {
                why = "sender: " + from.failure();
                return false;
            }
        }
        if (moved) {
            link.progress = Clock::now();
        }
    }
    if (link.toReceiver > 0 && from.canRead && allowance(link) == 0) {
        waitForTokens(link);
    }
    return true;
}

bool TransferRelay::bufferToReceiver(Link& link, std::string& why) {
    End& from = *link.s;
    End& to = *link.r;
    const std::size_t capacity = limits_.bufferBytes;
    for (bool moved = true; moved;) {
        moved = false;
        // Fill first, then write it in as few records as the socket takes.
        while (from.canRead && !from.ended && link.bufferEnd < capacity) {
            const std::uint64_t grant = std::min<std::uint64_t>(
                {link.toReceiver, capacity - link.bufferEnd, allowance(link)});
            if (grant == 0) {
                break;
            }
            const ssize_t n =
                from.read(link.buffer.get() + link.bufferEnd, static_cast<std::size_t>(grant));
            if (n > 0) {
                link.bufferEnd += static_cast<std::size_t>(n);
                link.toReceiver -= static_cast<std::uint64_t>(n);
                link.passed += static_cast<std::uint64_t>(n);
                spend(link, static_cast<std::uint64_t>(n));
                moved = true;
            } else if (n == 0) {
                from.ended = true;
            } else if (wouldBlock()) {
                from.canRead = false;
            } else if (errno != EINTR) {
                why = "sender: " + from.failure();
                return false;
            }
        }
        while (link.bufferAt < link.bufferEnd && to.canWrite) {
            const ssize_t n =
                to.write(link.buffer.get() + link.bufferAt, link.bufferEnd - link.bufferAt);
            if (n > 0) {
                link.bufferAt += static_cast<std::size_t>(n);
                moved = true;
            } else if (wouldBlock()) {
                to.canWrite = false;
            } else if (errno != EINTR) {
                why = "receiver: " + to.failure();
                return false;
            }
        }
        if (link.bufferAt == link.bufferEnd) {
            link.bufferAt = link.bufferEnd = 0;
        }
        if (moved) {
            link.progress = Clock::now();
        }
    }
    if (link.toReceiver > 0 && from.canRead && allowance(link) == 0) {
        waitForTokens(link);
    }
    return true;
}

bool TransferRelay::verdictToSender(Link& link, std::string& why) {
    End& from = *link.r;
    End& to = *link.s;
    while (!link.verdictOver && from.canRead) {
        char bytes[p::transfer::kMaxVerdictBytes];
        const std::size_t room = p::transfer::kMaxVerdictBytes - link.verdict.size();
        const ssize_t n = from.read(bytes, room);
        if (n > 0) {
            link.verdict.append(bytes, static_cast<std::size_t>(n));
            link.progress = Clock::now();
        } else if (n == 0) {
            from.ended = true;
            if (link.toReceiver > 0 || link.inPipe > 0 || link.bufferAt < link.bufferEnd) {
                why = "receiver closed";
                return false;
            }
        } else if (wouldBlock()) {
            from.canRead = false;
        } else if (errno != EINTR) {
            why = "receiver: " + from.failure();
            return false;
        }
        // The verdict is whole, or the receiver said all it may.
        link.verdictOver = from.ended || link.verdict == p::transfer::kVerdictOk ||
                           link.verdict == p::transfer::kVerdictBad ||
                           link.verdict.size() == p::transfer::kMaxVerdictBytes;
    }
    while (link.verdictSent < link.verdict.size() && to.canWrite) {
        const ssize_t n = to.write(link.verdict.data() + link.verdictSent,
                                   link.verdict.size() - link.verdictSent);
        if (n > 0) {
            link.verdictSent += static_cast<std::size_t>(n);
        } else if (wouldBlock()) {
            to.canWrite = false;
        } else if (errno != EINTR) {
            why = "sender: " + to.failure();
            return false;
        }
    }
    return true;
}

} // namespace velmora::server::net
