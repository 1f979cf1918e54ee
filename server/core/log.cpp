#include "core/log.h"

#include "core/clock.h"

#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>

#include <array>
#include <cstdio>
#include <cstdlib>
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

// The word before `at` (words are separated by single spaces).
std::string_view wordBefore(std::string_view line, std::size_t at) {
    const auto start = line.rfind(' ', at == 0 ? 0 : at - 1);
    return start == std::string_view::npos ? line.substr(0, at)
                                           : line.substr(start + 1, at - start - 1);
}

std::string_view wordAt(std::string_view line, std::size_t at) {
    return line.substr(at, line.find(' ', at) - at);
}

bool has(std::string_view line, std::string_view part) {
    return line.find(part) != std::string_view::npos;
}

void sendToJournal(const LogFields& fields, std::string_view text) {
    const std::string message = "MESSAGE=" + printable(text);
    const std::string priority = "PRIORITY=" + std::to_string(fields.priority);
    const std::string event = "VELMORA_EVENT=" + printable(fields.event);
    const std::string user = "VELMORA_USER=" + printable(fields.user);
    const std::string address = "VELMORA_ADDRESS=" + printable(fields.address);
    std::array<iovec, 5> parts{};
    int count = 0;
    const auto add = [&](const std::string& field, bool known) {
        if (known) {
            parts[count++] = {const_cast<char*>(field.data()), field.size()};
        }
    };
    add(message, true);
    add(priority, true);
    add(event, !fields.event.empty());
    add(user, !fields.user.empty());
    add(address, !fields.address.empty());
    sd_journal_sendv(parts.data(), count);
}
} // namespace

LogFields fieldsOf(std::string_view whole) {
    LogFields f;
    // Peer bytes only ever stand in quotes: what follows the first quote
    // must not make a line look like another event.
    const std::string_view line = whole.substr(0, whole.find('"'));
    // Lines about a connection start with "#N ADDRESS" (with the port on
    // the connection's own lines); the user's name follows once logged in.
    std::size_t rest = 0;
    if (line.starts_with('#')) {
        const auto space = line.find(' ');
        if (space != std::string_view::npos) {
            f.address = wordAt(line, space + 1);
            rest = space + 1 + f.address.size();
        }
    }
    const std::string_view tail = line.substr(std::min(rest, line.size()));
    // " NAME logged in", " NAME logged out": the whole rest of the line.
    const auto sessionEvent = [&](std::string_view ending, std::string_view event) {
        if (!tail.ends_with(ending) || tail.size() <= ending.size() + 1) {
            return false;
        }
        const auto name = tail.substr(1, tail.size() - ending.size() - 1);
        if (name.find(' ') != std::string_view::npos) {
            return false;
        }
        f.event = event;
        f.user = name;
        return true;
    };
    if (sessionEvent(" logged in", "login") || sessionEvent(" logged in (receipts)", "login") ||
        sessionEvent(" logged out", "logout")) {
    } else if (tail.starts_with(" login refused")) {
        f.event = "login-refused";
        f.limited = has(tail, ": too many") || has(tail, ": password queue full");
        if (tail.ends_with(" for ") && whole.size() > line.size() + 1) {
            const auto quoted = whole.substr(line.size() + 1);
            f.user = quoted.substr(0, quoted.find('"'));
        }
    } else if (has(tail, " replaced by ") || has(tail, " kicked") || has(tail, " banned") ||
               has(tail, " unbanned")) {
        f.event = has(tail, "banned") ? "ban" : "kick";
        f.user = rest == 0 ? wordAt(tail, 0) : tail.size() > 1 ? wordAt(tail, 1) : tail;
    } else if (line.starts_with("file transfer ")) {
        f.event = "file-transfer";
        f.user = wordAt(line, 14);
    } else if (const auto offers = tail.find(" offers "); offers != std::string_view::npos) {
        f.event = "file-offer";
        f.user = wordBefore(tail, offers);
    } else if (tail == " connected") {
        f.event = "connect";
    } else if (tail.starts_with(" closed (")) {
        f.event = "disconnect";
    }
    if (has(line, "refused") || f.event == "kick" || f.event == "ban") {
        f.priority = 4;
    } else if (has(line, " failed")) {
        f.priority = 3;
    }
    return f;
}

void Log::line(std::string_view text) {
    if (!journal_ && !listener_) {
        out_ << localTimestamp() << ' ' << printable(text) << std::endl;
        return;
    }
    event(fieldsOf(text), text);
}

void Log::event(const LogFields& fields, std::string_view text) {
    if (listener_) {
        listener_->logged(fields);
    }
    if (journal_) {
        sendToJournal(fields, text);
    } else {
        out_ << localTimestamp() << ' ' << printable(text) << std::endl;
    }
}

bool Log::stderrIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    unsigned long long device = 0, inode = 0;
    struct stat self {};
    return stream && std::sscanf(stream, "%llu:%llu", &device, &inode) == 2 &&
           fstat(2, &self) == 0 && static_cast<unsigned long long>(self.st_dev) == device &&
           static_cast<unsigned long long>(self.st_ino) == inode;
}

} // namespace velmora::server::core
