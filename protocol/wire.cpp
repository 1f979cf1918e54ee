#include "wire.h"

#include <cstring>

namespace velmora::protocol {

std::size_t findSeparator(std::string_view text, std::string_view separator, std::size_t from) {
    if (separator.size() < 2) {
        return text.find(separator, from);
    }
    for (std::size_t at = from + 1; at < text.size(); ++at) {
        const void* hit = std::memchr(text.data() + at, separator[1], text.size() - at);
        if (hit == nullptr) {
            break;
        }
        at = static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
        // Separators are a few bytes: compared here, not by a call.
        std::size_t k = 0;
        while (k < separator.size() && at - 1 + k < text.size() &&
               text[at - 1 + k] == separator[k]) {
            ++k;
        }
        if (k == separator.size()) {
            return at - 1;
        }
    }
    return std::string_view::npos;
}

void splitInto(std::string_view text, std::string_view separator, Fields& pieces) {
    std::size_t count = 0;
    const auto take = [&](std::string_view piece) {
        if (count < pieces.size()) {
            pieces[count].assign(piece);
        } else {
            pieces.emplace_back(piece);
        }
        ++count;
    };
    for (std::size_t start = 0; !text.empty();) {
        const std::size_t hit = findSeparator(text, separator, start);
        if (hit == std::string_view::npos) {
            take(text.substr(start));
            break;
        }
        take(text.substr(start, hit - start));
        start = hit + separator.size();
    }
    pieces.resize(count);
}

Fields split(std::string_view text, std::string_view separator) {
    Fields pieces;
    splitInto(text, separator, pieces);
    return pieces;
}

std::string join(const Fields& pieces, std::string_view separator) {
    std::string out;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        if (i > 0) {
            out += separator;
        }
        out += pieces[i];
    }
    return out;
}

std::string buildCommand(std::string_view head, std::initializer_list<std::string_view> fields) {
    std::string out(head);
    bool first = true;
    for (std::string_view field : fields) {
        if (!first) {
            out += kCommandFieldSep;
        }
        out += field;
        first = false;
    }
    return out;
}

bool isSealedField(std::string_view field) {
    // Every separator starts and ends with a space and holds no other, so a
    // neighbour can lend at most its one outer space: the field is read as
    // if padded with a space on each side. Any separator there starts at one
    // of those spaces, and most fields (texts travel with "%%" for spaces)
    // hold none, so only the spaces are looked at.
    const std::size_t padded = field.size() + 2;
    const auto at = [&](std::size_t i) { return i == 0 || i == padded - 1 ? ' ' : field[i - 1]; };
    const auto startsAt = [&](std::size_t i, std::string_view separator) {
        if (i + separator.size() > padded) {
            return false;
        }
        for (std::size_t k = 1; k < separator.size(); ++k) {
            if (at(i + k) != separator[k]) {
                return false;
            }
        }
        return true;
    };
    const auto opensOne = [](char second) {
        for (const std::string_view separator : kSeparators) {
            if (separator[1] == second) {
                return true;
            }
        }
        return false;
    };
    // The closing pad space has nothing after it, so no separator starts there.
    for (std::size_t i = 0; i < padded - 1;) {
        if (opensOne(at(i + 1))) {
            for (const std::string_view separator : kSeparators) {
                if (startsAt(i, separator)) {
                    return false;
                }
            }
        }
        // Padded position i is field position i - 1: the next space from there.
        const std::size_t next = field.find(' ', i);
        i = next == std::string_view::npos ? padded - 1 : next + 1;
    }
    return true;
}

namespace {
template <typename Range>
void appendReplyOf(std::string& out, std::string_view code, const Range& fields) {
    std::size_t size = kRecordMark.size() + code.size();
    for (const auto& field : fields) {
        size += kReplyFieldSep.size() + std::string_view(field).size();
    }
    out.reserve(out.size() + size);
    out += kRecordMark;
    out += code;
    for (const auto& field : fields) {
        out += kReplyFieldSep;
        out += field;
    }
}
} // namespace

void appendReply(std::string& out, std::string_view code,
                 std::initializer_list<std::string_view> fields) {
    appendReplyOf(out, code, fields);
}

std::string buildReply(std::string_view code, std::initializer_list<std::string_view> fields) {
    std::string out;
    appendReplyOf(out, code, fields);
    return out;
}

std::string buildReply(std::string_view code, const Fields& fields) {
    std::string out;
    appendReplyOf(out, code, fields);
    return out;
}

std::vector<Fields> splitBatch(std::string_view batch, std::string_view fieldSeparator) {
    std::vector<Fields> records;
    forEachRecord(batch, fieldSeparator,
                  [&](Fields& fields) { records.push_back(std::move(fields)); });
    return records;
}

} // namespace velmora::protocol
