// The two ends of one file transfer as a client would run them, without the
// client: blocking sockets, one thread per end, the file's bytes sent from
// memory and only counted on arrival. Neither end hashes: the sender sends a
// fixed digest after the bytes, and the receiver checks that exactly that
// many bytes came and that they end with that digest, then answers OK.
#pragma once

#include "stream_link.h"

#include <cstdint>
#include <memory>
#include <string>

namespace velmora::bench {

struct TransferFigures {
    double seconds = 0; // from the first byte sent to the last one received
};

// A sender and a receiver logged in to one velmorad, plain or inside TLS
// (`tls` set), ready to offer a file of `bytes`.
class ServerTransfer {
public:
    ServerTransfer(unsigned short port, const TlsTrust* tls, std::uint64_t bytes,
                   const std::string& sender, const std::string& receiver,
                   const std::string& password);

    // The offer, both data connections, the bytes and the verdict. Throws
    // LinkError when the server refuses anything or the count is wrong.
    TransferFigures run();

private:
    unsigned short port_;
    const TlsTrust* tls_;
    std::uint64_t bytes_;
    std::string sender_, receiver_;
    std::unique_ptr<StreamLink> senderSession_, receiverSession_;
};

// The same bytes and verdict through a relay that speaks no protocol: both
// ends connect and start at once.
TransferFigures runThroughBareRelay(unsigned short port, std::uint64_t bytes);

} // namespace velmora::bench
