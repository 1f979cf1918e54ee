// Cuts the command stream of one connection into commands. Commands carry no
// terminator: a command is complete when the next record mark arrives, or,
// for the last one, when the peer has gone quiet (the connection's timer
// decides when; `quietFor` tells it how long to wait). Bytes split by TCP at
// any point are joined here; bytes before the first mark are dropped.
#pragma once

#include "protocol/wire.h"

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::server::net {

struct QuietTimes {
    // Wait this long when the pending command already has all its fields ...
    std::chrono::milliseconds complete{5};
    // ... and this long when fields are still missing.
    std::chrono::milliseconds partial{150};
};

class Framer {
public:
    Framer(std::size_t maxCommandBytes, QuietTimes quiet);

    // Appends received bytes; returns the commands they completed, split into
    // fields. False in `ok` when the pending command outgrew the limit (the
    // connection is to be closed).
    [[nodiscard]] std::vector<protocol::Fields> feed(std::string_view bytes, bool& ok);

    [[nodiscard]] bool hasPending() const;
    // How long to wait for more bytes before taking the pending command.
    [[nodiscard]] std::chrono::milliseconds quietFor() const;
    // Takes the pending command as complete (the peer went quiet).
    [[nodiscard]] protocol::Fields takePending();

    [[nodiscard]] std::size_t buffered() const { return buffer_.size(); }
    // Bytes dropped because they stood before any record mark.
    [[nodiscard]] std::size_t dropped() const { return dropped_; }

private:
    void dropBeforeMark();

    std::size_t maxBytes_;
    QuietTimes quiet_;
    // Either empty, a partial mark, or a record mark followed by one pending
    // command (possibly ending in a partial mark).
    std::string buffer_;
    // No mark starts before this offset of the pending command.
    std::size_t scanned_ = 0;
    std::size_t dropped_ = 0;
};

} // namespace velmora::server::net
