#include "wire.h"

namespace velmora::protocol {

Fields split(std::string_view text, std::string_view separator) {
    Fields pieces;
    if (text.empty()) {
        return pieces;
    }
    std::size_t start = 0;
    for (;;) {
        const std::size_t hit = text.find(separator, start);
        if (hit == std::string_view::npos) {
            pieces.emplace_back(text.substr(start));
            return pieces;
        }
        pieces.emplace_back(text.substr(start, hit - start));
        start = hit + separator.size();
    }
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
    // neighbour can lend at most its one outer space: checking the field with
    // a space on each side covers every placement.
    std::string padded;
    padded.reserve(field.size() + 2);
    padded.append(1, ' ').append(field).append(1, ' ');
    for (const std::string_view separator : kSeparators) {
        if (padded.find(separator) != std::string::npos) {
            return false;
        }
    }
    return true;
}

namespace {
template <typename Range> std::string replyOf(std::string_view code, const Range& fields) {
    std::string out(kRecordMark);
    out += code;
    for (const auto& field : fields) {
        out += kReplyFieldSep;
        out += field;
    }
    return out;
}
} // namespace

std::string buildReply(std::string_view code, std::initializer_list<std::string_view> fields) {
    return replyOf(code, fields);
}

std::string buildReply(std::string_view code, const Fields& fields) {
    return replyOf(code, fields);
}

std::vector<Fields> splitBatch(std::string_view batch, std::string_view fieldSeparator) {
    std::vector<Fields> records;
    forEachRecord(batch, fieldSeparator,
                  [&](Fields& fields) { records.push_back(std::move(fields)); });
    return records;
}

} // namespace velmora::protocol
