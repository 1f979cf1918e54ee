// libFuzzer target: splitting any batch must not crash, and joining the
// records back must reproduce everything after the first record mark. The
// separator search and the sealed-field test agree with plain searches.
#include "protocol/wire.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace p = velmora::protocol;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view batch(reinterpret_cast<const char*>(data), size);
    std::string rebuilt;
    bool any = false;
    p::forEachRecord(batch, p::kReplyFieldSep, [&](const p::Fields& fields) {
        rebuilt += p::kRecordMark;
        rebuilt += p::join(fields, p::kReplyFieldSep);
        any = true;
    });
    const std::size_t first = batch.find(p::kRecordMark);
    if (any != (first != std::string_view::npos)) {
        std::abort();
    }
    if (any && batch.substr(first) != rebuilt) {
        std::abort();
    }
    for (const std::string_view separator : p::kSeparators) {
        for (std::size_t from = 0; from <= std::min<std::size_t>(size, 40); from += 7) {
            if (p::findSeparator(batch, separator, from) != batch.find(separator, from)) {
                std::abort();
            }
        }
    }
    const std::string padded = " " + std::string(batch) + " ";
    bool holdsOne = false;
    for (const std::string_view separator : p::kSeparators) {
        holdsOne |= padded.find(separator) != std::string::npos;
    }
    if (p::isSealedField(batch) == holdsOne) {
        std::abort();
    }
    return 0;
}
