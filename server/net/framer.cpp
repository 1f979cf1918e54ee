#include "net/framer.h"

#include "protocol/receipts.h"

#include "core/command_table.h"
#include "core/config.h"

#include <algorithm>

namespace velmora::server::net {

namespace p = protocol;

namespace {
// Past this, a buffer emptied after a large command gives its memory back.
constexpr std::size_t kKeepCapacity = 4096;

// Length of the tail of `body` that may be the start of the next record mark.
// The space that closes a " /:/ " (an empty last field) never opens a mark:
// a sender writes the mark after that space, not over it.
std::size_t markTail(std::string_view body) {
    for (std::size_t n = std::min(body.size(), p::kRecordMark.size() - 1); n > 0; --n) {
        const std::size_t at = body.size() - n;
        if (body.substr(at) == p::kRecordMark.substr(0, n) &&
            !body.substr(0, at + 1).ends_with(p::kCommandFieldSep)) {
            return n;
        }
    }
    return 0;
}

std::size_t count(std::string_view text, std::string_view what) {
    std::size_t n = 0;
    for (std::size_t at = text.find(what); at != std::string_view::npos;
         at = text.find(what, at + what.size())) {
        ++n;
    }
    return n;
}
} // namespace

// A record over a gigabyte is refused like any other that is too long.
Framer::Framer(std::size_t maxCommandBytes)
    : buffer_(),
      maxBytes_(static_cast<std::uint32_t>(std::min<std::size_t>(maxCommandBytes, 1u << 30))) {}

void Framer::compact() {
    if (start_ > 0) {
        buffer_.erase(0, start_);
        scanned_ = scanned_ > start_ ? scanned_ - start_ : 0;
        start_ = 0;
    }
    if (buffer_.empty() && buffer_.capacity() > kKeepCapacity) {
        std::string().swap(buffer_);
    }
}

void Framer::dropBeforeMark() {
    const std::size_t mark = p::findSeparator(buffer_, p::kRecordMark);
    std::size_t drop = mark;
    if (mark == std::string::npos) {
        drop = buffer_.size() - markTail(buffer_);
    }
    dropped_ += drop;
    buffer_.erase(0, drop);
    scanned_ = 0;
}

void Framer::feed(std::string_view bytes) {
    compact();
    buffer_.append(bytes);
    if (!buffer_.starts_with(p::kRecordMark)) {
        dropBeforeMark();
    }
}

Framer::Next Framer::next(p::FieldViews& command) {
    if (!hasPending()) {
        compact();
        return Next::None;
    }
    const std::size_t from = std::max<std::size_t>(start_ + p::kRecordMark.size(), scanned_);
    const std::size_t next = p::findSeparator(buffer_, p::kRecordMark, from);
    if (next == std::string::npos) {
        scanned_ =
            std::max(from, buffer_.size() - std::min(buffer_.size(), p::kRecordMark.size() - 1));
        return buffered() > maxBytes_ ? Next::TooLong : Next::None;
    }
    const std::string_view whole = std::string_view(buffer_).substr(start_, next - start_);
    if (whole.size() > maxBytes_) {
        return Next::TooLong;
    }
    p::splitInto(whole.substr(p::kRecordMark.size()), p::kCommandFieldSep, command);
    start_ = next;
    scanned_ = 0;
    return Next::Command;
}

bool Framer::hasPending() const {
    return std::string_view(buffer_).substr(start_).starts_with(p::kRecordMark);
}

std::string_view Framer::pendingBody() const {
    std::string_view body = std::string_view(buffer_).substr(start_ + p::kRecordMark.size());
    body.remove_suffix(markTail(body));
    return body;
}

bool Framer::pendingHasAllFields() const {
    const std::string_view body = pendingBody();
    const auto needed = core::commandFieldCount(body.substr(0, body.find(p::kCommandFieldSep)));
    return needed && count(body, p::kCommandFieldSep) >= *needed;
}

bool Framer::pendingIsWhole() const {
    if (!hasPending()) {
        return false;
    }
    const std::string_view body = pendingBody();
    const std::string_view code = body.substr(0, body.find(p::kCommandFieldSep));
    const auto info = core::commandInfo(code);
    if (!info ||
        (info->command != core::Command::Login && info->command != core::Command::SignUp) ||
        !pendingHasAllFields()) {
        return false;
    }
    // A version cut by TCP would read as an older one: at worst that one
    // login is refused as too old. Waiting the quiet time instead would add
    // it to every login. An extension named after the version is whole when
    // it is one this server knows; a cut one waits.
    const std::size_t lastSep = body.rfind(p::kCommandFieldSep);
    std::string_view last = body.substr(lastSep + p::kCommandFieldSep.size());
    if (last == p::kReceiptsToken) {
        const std::string_view before = body.substr(0, lastSep);
        last = before.substr(before.rfind(p::kCommandFieldSep) + p::kCommandFieldSep.size());
    }
    return core::parseVersion(last).has_value();
}

void Framer::takePending(p::FieldViews& command) {
    const std::string_view body = pendingBody();
    p::splitInto(body, p::kCommandFieldSep, command);
    start_ += p::kRecordMark.size() + body.size();
    scanned_ = 0;
}

void Framer::trim() {
    compact();
    if (buffer_.empty()) {
        std::string().swap(buffer_);
    }
}

} // namespace velmora::server::net
