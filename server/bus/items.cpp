#include "bus/items.h"

#include <charconv>

namespace velmora::server::bus {

void appendItem(std::string& payload, char kind, std::string_view head, std::string_view rest) {
    payload += kind;
    payload += std::to_string(head.size() + 1 + rest.size());
    payload += ':';
    payload += head;
    payload += ' ';
    payload += rest;
}

bool forEachItem(std::string_view payload,
                 const std::function<void(char kind, std::string_view body)>& item) {
    while (!payload.empty()) {
        const char kind = payload[0];
        std::size_t length = 0;
        const char* digits = payload.data() + 1;
        const auto [end, ec] = std::from_chars(digits, payload.data() + payload.size(), length);
        const std::size_t head = static_cast<std::size_t>(end - payload.data());
        if (ec != std::errc() || end == digits || head >= payload.size() || *end != ':' ||
            length > payload.size() - head - 1) {
            return false;
        }
        item(kind, payload.substr(head + 1, length));
        payload.remove_prefix(head + 1 + length);
    }
    return true;
}

std::pair<std::string_view, std::string_view> firstWord(std::string_view body) {
    const auto space = body.find(' ');
    if (space == std::string_view::npos) {
        return {body, {}};
    }
    return {body.substr(0, space), body.substr(space + 1)};
}

} // namespace velmora::server::bus
