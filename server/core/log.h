// One line per event, timestamped, to one stream (stderr in the server).
// Bytes outside printable ASCII (and the backslash) are written as \xNN.
#pragma once

#include <ostream>
#include <string_view>

namespace velmora::server::core {

class Log {
public:
    explicit Log(std::ostream& out) : out_(out) {}
    void line(std::string_view text);

private:
    std::ostream& out_;
};

} // namespace velmora::server::core
