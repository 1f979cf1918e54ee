#include "net/framer.h"

#include "core/command_table.h"

#include <algorithm>

namespace velmora::server::net {

namespace p = protocol;

namespace {
// Length of the longest tail of `text` that is a proper prefix of the mark.
std::size_t partialMarkTail(std::string_view text) {
    for (std::size_t n = std::min(text.size(), p::kRecordMark.size() - 1); n > 0; --n) {
        if (text.substr(text.size() - n) == p::kRecordMark.substr(0, n)) {
            return n;
        }
    }
    return 0;
}

p::Fields fieldsOf(std::string_view command) {
    return p::split(command.substr(p::kRecordMark.size()), p::kCommandFieldSep);
}
} // namespace

Framer::Framer(std::size_t maxCommandBytes, QuietTimes quiet)
    : maxBytes_(maxCommandBytes), quiet_(quiet) {}

void Framer::dropBeforeMark() {
    const std::size_t mark = buffer_.find(p::kRecordMark);
    if (mark == std::string::npos) {
        const std::size_t keep = partialMarkTail(buffer_);
        dropped_ += buffer_.size() - keep;
        buffer_.erase(0, buffer_.size() - keep);
    } else if (mark > 0) {
        dropped_ += mark;
        buffer_.erase(0, mark);
    }
}

std::vector<p::Fields> Framer::feed(std::string_view bytes, bool& ok) {
    std::vector<p::Fields> commands;
    buffer_.append(bytes);
    dropBeforeMark();
    std::size_t start = 0;
    if (buffer_.starts_with(p::kRecordMark)) {
        for (;;) {
            const std::size_t from = std::max(start + p::kRecordMark.size(), scanned_);
            const std::size_t next = buffer_.find(p::kRecordMark, from);
            if (next == std::string::npos) {
                break;
            }
            commands.push_back(fieldsOf(std::string_view(buffer_).substr(start, next - start)));
            start = next;
        }
        buffer_.erase(0, start);
        scanned_ = buffer_.size() >= p::kRecordMark.size()
                       ? buffer_.size() - p::kRecordMark.size() + 1
                       : 0;
    } else {
        scanned_ = 0;
    }
    ok = buffer_.size() <= maxBytes_;
    return commands;
}

bool Framer::hasPending() const {
    return buffer_.starts_with(p::kRecordMark);
}

std::chrono::milliseconds Framer::quietFor() const {
    std::string_view body = std::string_view(buffer_).substr(p::kRecordMark.size());
    body.remove_suffix(partialMarkTail(body));
    const p::Fields fields = p::split(body, p::kCommandFieldSep);
    if (fields.empty()) {
        return quiet_.partial;
    }
    const auto needed = core::commandFieldCount(fields[0]);
    return (needed && fields.size() - 1 >= *needed) ? quiet_.complete : quiet_.partial;
}

p::Fields Framer::takePending() {
    std::string_view command = buffer_;
    // A tail that may begin the next mark stays behind, unless it is the
    // closing space of a field separator (an empty last field).
    std::size_t tail = partialMarkTail(command.substr(p::kRecordMark.size()));
    if (tail > 0 && command.substr(0, command.size() - tail).ends_with(" /:/")) {
        tail = 0;
    }
    p::Fields fields = fieldsOf(command.substr(0, command.size() - tail));
    buffer_.erase(0, buffer_.size() - tail);
    scanned_ = 0;
    return fields;
}

} // namespace velmora::server::net
