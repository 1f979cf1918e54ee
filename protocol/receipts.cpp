#include "receipts.h"

#include <algorithm>
#include <charconv>

namespace velmora::protocol {

std::vector<std::string> numberLists(std::vector<MessageNumber> numbers, std::size_t maxBytes) {
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    std::vector<std::string> lists;
    std::string list;
    std::size_t named = 0; // by `list`
    for (std::size_t i = 0; i < numbers.size();) {
        if (named == kMaxListNumbers) {
            lists.push_back(std::move(list));
            list.clear();
            named = 0;
        }
        std::size_t last = i;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1 &&
               named + (last + 1 - i) < kMaxListNumbers) {
            ++last;
        }
        std::string item = std::to_string(numbers[i]);
        if (last > i) {
            item += kNumberRangeSep;
            item += std::to_string(numbers[last]);
        }
        if (!list.empty() && list.size() + 1 + item.size() > maxBytes) {
            lists.push_back(std::move(list));
            list.clear();
            named = 0;
        }
        if (!list.empty()) {
            list += kNumberListSep;
        }
        list += item;
        named += last + 1 - i;
        i = last + 1;
    }
    if (!list.empty()) {
        lists.push_back(std::move(list));
    }
    return lists;
}

namespace {
bool readNumber(std::string_view text, MessageNumber& out) {
    if (text.empty() || text.size() > 18) {
        return false;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), out);
    return error == std::errc() && end == text.data() + text.size() && out > 0;
}
} // namespace

bool parseNumberList(std::string_view list, std::vector<MessageNumber>& out,
                     std::size_t maxNumbers) {
    std::size_t taken = 0;
    while (!list.empty()) {
        const std::size_t comma = list.find(kNumberListSep);
        const std::string_view item = list.substr(0, comma);
        list = comma == std::string_view::npos ? std::string_view() : list.substr(comma + 1);
        if (comma != std::string_view::npos && list.empty()) {
            return false; // a list does not end in a separator
        }
        const std::size_t dash = item.find(kNumberRangeSep);
        MessageNumber low = 0;
        MessageNumber high = 0;
        if (!readNumber(item.substr(0, dash), low) ||
            (dash != std::string_view::npos && !readNumber(item.substr(dash + 1), high))) {
            return false;
        }
        if (dash == std::string_view::npos) {
            high = low;
        }
        // The span is checked before anything is added: a range cannot make
        // the list name more than it may.
        if (high < low || static_cast<std::size_t>(high - low) >= maxNumbers - taken) {
            return false;
        }
        for (MessageNumber n = low; n <= high; ++n) {
            out.push_back(n);
        }
        taken += static_cast<std::size_t>(high - low) + 1;
    }
    return true;
}

} // namespace velmora::protocol
