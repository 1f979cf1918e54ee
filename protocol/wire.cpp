#include "wire.h"

#include <algorithm>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace velmora::protocol {

namespace {
// Separators are a few bytes: compared here, not by a call.
bool separatorAt(std::string_view text, std::size_t at, std::string_view separator) {
    if (at + separator.size() > text.size()) {
        return false;
    }
    for (std::size_t k = 0; k < separator.size(); ++k) {
        if (text[at + k] != separator[k]) {
            return false;
        }
    }
    return true;
}

// Calls `found(at)` for each place from `from` on where `separator` starts,
// until it returns false; returns where the scan stopped (npos at the end).
// A separator's first two bytes side by side are looked for sixteen bytes at
// a time, so a record is read once however many fields it holds.
template <typename Found>
std::size_t scanSeparators(std::string_view text, std::string_view separator, std::size_t from,
                           Found&& found) {
    std::size_t at = from;
    const std::size_t size = text.size();
#if defined(__SSE2__)
    const __m128i first = _mm_set1_epi8(separator[0]);
    const __m128i second = _mm_set1_epi8(separator[1]);
    for (; at + 17 <= size; at += 16) {
        const __m128i here = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at));
        const __m128i next =
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + at + 1));
        auto mask = static_cast<unsigned>(_mm_movemask_epi8(
            _mm_and_si128(_mm_cmpeq_epi8(here, first), _mm_cmpeq_epi8(next, second))));
        while (mask != 0) {
            const std::size_t hit = at + static_cast<std::size_t>(__builtin_ctz(mask));
            mask &= mask - 1;
            // A hit inside one already taken is not a separator of its own.
            if (hit >= from && separatorAt(text, hit, separator)) {
                if (!found(hit)) {
                    return hit;
                }
                from = hit + separator.size();
            }
        }
    }
#endif
    for (at = std::max(at, from); at + 1 < size; ++at) {
        if (text[at] == separator[0] && text[at + 1] == separator[1] &&
            separatorAt(text, at, separator)) {
            if (!found(at)) {
                return at;
            }
            at += separator.size() - 1;
        }
    }
    return std::string_view::npos;
}
} // namespace

std::size_t findSeparator(std::string_view text, std::string_view separator, std::size_t from) {
    if (separator.size() < 2 || from >= text.size()) {
        return text.find(separator, from);
    }
    return scanSeparators(text, separator, from, [](std::size_t) { return false; });
}

namespace {
template <typename Pieces>
void splitPieces(std::string_view text, std::string_view separator, Pieces& pieces) {
    std::size_t count = 0;
    const auto take = [&](std::string_view piece) {
        if (count < pieces.size()) {
            pieces[count] = piece;
        } else {
            pieces.emplace_back(piece);
        }
        ++count;
    };
    if (!text.empty()) {
        std::size_t start = 0;
        const auto cut = [&](std::size_t at) {
            take(text.substr(start, at - start));
            start = at + separator.size();
            return true;
        };
        if (separator.size() < 2) {
            for (std::size_t at = text.find(separator); at != std::string_view::npos;
                 at = text.find(separator, start)) {
                cut(at);
            }
        } else {
            scanSeparators(text, separator, 0, cut);
        }
        take(text.substr(std::min(start, text.size())));
    }
    pieces.resize(count);
}

} // namespace

void splitInto(std::string_view text, std::string_view separator, Fields& pieces) {
    splitPieces(text, separator, pieces);
}

void splitInto(std::string_view text, std::string_view separator, FieldViews& pieces) {
    splitPieces(text, separator, pieces);
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

namespace {
constexpr std::size_t longestInside() {
    std::size_t longest = 0;
    for (const std::string_view separator : kSeparators) {
        longest = std::max(longest, separator.size() - 2);
    }
    return longest;
}
constexpr std::size_t kLongestInside = longestInside();
} // namespace

bool isSealedField(std::string_view field) {
    // Every separator starts and ends with a space and holds no other, so a
    // neighbour can lend at most its one outer space: the field is read as
    // if padded with a space on each side. Any separator there starts at one
    // of those spaces, and most fields (texts travel with "%%" for spaces)
    // hold none, so only the spaces are looked at.
    // Without a space of its own, only the two pad spaces can open and close
    // a separator: the field is then a separator's inside, or clean.
    if (std::memchr(field.data(), ' ', field.size()) == nullptr) {
        if (field.size() > kLongestInside) {
            return true;
        }
        for (const std::string_view separator : kSeparators) {
            const std::string_view inside = separator.substr(1, separator.size() - 2);
            if (field.size() == inside.size() &&
                std::equal(field.begin(), field.end(), inside.begin())) {
                return false;
            }
        }
        return true;
    }
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
    // Sized once and written in place: records are built on the relay path.
    const std::size_t start = out.size();
    out.resize(start + size);
    char* at = out.data() + start;
    const auto put = [&at](std::string_view piece) {
        // An empty field may have no storage at all: memcpy wants a pointer.
        if (!piece.empty()) {
            std::memcpy(at, piece.data(), piece.size());
            at += piece.size();
        }
    };
    put(kRecordMark);
    put(code);
    for (const auto& field : fields) {
        put(kReplyFieldSep);
        put(field);
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
