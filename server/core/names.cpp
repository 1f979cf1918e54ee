#include "core/names.h"

#include "protocol/names.h"

#include <algorithm>

namespace velmora::server::core {

namespace {
char upper(char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}
} // namespace

bool isNameText(std::string_view name) {
    return protocol::isNameText(name);
}

bool isValidName(std::string_view name, std::size_t min, std::size_t max) {
    return name.size() >= min && name.size() <= max && isNameText(name);
}

std::string nameKey(std::string_view name) {
    std::string key(name);
    std::transform(key.begin(), key.end(), key.begin(), upper);
    return key;
}

bool sameName(std::string_view a, std::string_view b) {
    // Names nearly always come back spelt as they were given.
    return a == b ||
           (a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
                return upper(x) == upper(y);
            }));
}

bool holdsName(const std::vector<std::string>& names, std::string_view name) {
    return std::any_of(names.begin(), names.end(),
                       [&](const std::string& n) { return sameName(n, name); });
}

std::size_t NameHash::operator()(std::string_view name) const {
    // FNV-1a over the upper-cased bytes.
    std::size_t hash = 1469598103934665603ull;
    for (const char c : name) {
        hash = (hash ^ static_cast<unsigned char>(upper(c))) * 1099511628211ull;
    }
    return hash;
}

} // namespace velmora::server::core
