// Cuts the command stream of one connection into commands. Commands carry no
// terminator: a command is complete when the next record mark arrives, or,
// for the last one, when the peer has gone quiet (the connection's timer
// decides when; `pendingHasAllFields` tells it which wait applies). Bytes
// split by TCP at any point are joined here; bytes before the first mark are
// dropped.
#pragma once

#include "protocol/wire.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::server::net {

struct QuietTimes {
    // Wait this long when the pending command already has all its fields ...
    std::chrono::milliseconds complete{5};
    // ... and this long when fields are still missing: above TCP's minimum
    // retransmission time, so that a lost segment does not cut a command.
    std::chrono::milliseconds partial{1000};
};

class Framer {
public:
    explicit Framer(std::size_t maxCommandBytes);

    // Appends received bytes.
    void feed(std::string_view bytes);

    enum class Next { None, Command, TooLong };
    // Takes the next command that a following mark completed, split into
    // fields that view the buffer until the next call or feed. TooLong when
    // that command, or the pending one, outgrew the limit (the connection is
    // to be closed).
    [[nodiscard]] Next next(protocol::FieldViews& command);

    [[nodiscard]] bool hasPending() const;
    // True when the pending command's code is known and all its fields are there.
    [[nodiscard]] bool pendingHasAllFields() const;
    // True when nothing more can belong to the pending command: a login or
    // sign-up whose last field, the client version, is a whole "major.minor".
    [[nodiscard]] bool pendingIsWhole() const;
    // Takes the pending command as complete (the peer went quiet), its
    // fields viewing the buffer until the next call or feed.
    void takePending(protocol::FieldViews& command);
    [[nodiscard]] protocol::Fields takePending() {
        protocol::FieldViews command;
        takePending(command);
        return {command.begin(), command.end()};
    }
    // Gives back the buffer's memory when it holds nothing.
    void trim();

    [[nodiscard]] std::size_t buffered() const { return buffer_.size() - start_; }
    // Bytes dropped because they stood before any record mark.
    [[nodiscard]] std::size_t dropped() const { return dropped_; }

private:
    void compact();
    void dropBeforeMark();
    [[nodiscard]] std::string_view pendingBody() const;

    // From start_: either nothing, a partial mark, or a record mark followed by
    // commands, the last one possibly ending in a partial mark.
    std::string buffer_;
    // Offsets and counts in 32 bits: a buffer holds at most one record over
    // the limit, and every connection of a large node has a framer.
    std::uint32_t maxBytes_;
    std::uint32_t start_ = 0;
    // No mark starts between start_ + mark and this offset.
    std::uint32_t scanned_ = 0;
    std::uint32_t dropped_ = 0;
};

} // namespace velmora::server::net
