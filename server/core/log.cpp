#include "core/log.h"

#include "core/clock.h"

#include <string>

namespace velmora::server::core {

namespace {
// Peer bytes reach the log inside names and codes: a control byte or a
// stray escape sequence must not forge a line or drive the operator's terminal.
std::string printable(std::string_view text) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f && byte != '\\') {
            out += c;
        } else {
            out.append("\\x").append(1, kHex[byte >> 4]).append(1, kHex[byte & 15]);
        }
    }
    return out;
}
} // namespace

void Log::line(std::string_view text) {
    out_ << localTimestamp() << ' ' << printable(text) << std::endl;
}

} // namespace velmora::server::core
