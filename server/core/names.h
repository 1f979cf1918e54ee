// User and room names: letters, digits, "_" and "-", compared ignoring case.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora::server::core {

// The character rule only; callers check the length.
[[nodiscard]] bool isNameText(std::string_view name);

// A name of `min`..`max` characters that passes the character rule.
[[nodiscard]] bool isValidName(std::string_view name, std::size_t min, std::size_t max);

// The key under which a name is unique: upper case (names are ASCII).
[[nodiscard]] std::string nameKey(std::string_view name);

[[nodiscard]] bool sameName(std::string_view a, std::string_view b);

// True when one of `names` is `name`, ignoring case.
[[nodiscard]] bool holdsName(const std::vector<std::string>& names, std::string_view name);

// Hash and equality for maps keyed by name, ignoring case, that are looked up
// with a string_view without building a key.
struct NameHash {
    using is_transparent = void;
    [[nodiscard]] std::size_t operator()(std::string_view name) const;
};
struct NameEqual {
    using is_transparent = void;
    [[nodiscard]] bool operator()(std::string_view a, std::string_view b) const {
        return sameName(a, b);
    }
};

} // namespace velmora::server::core
