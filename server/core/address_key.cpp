#include "core/address_key.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

namespace velmora::server::core {

std::optional<std::string> addressKey(std::string_view address) {
    std::string text(address.substr(0, 64));
    if (text.ends_with("/64")) {
        text.resize(text.size() - 3);
    } else if (address.size() > 64) {
        return std::nullopt;
    }
    std::array<unsigned char, 16> bytes{};
    char out[INET6_ADDRSTRLEN] = {};
    if (text.find(':') == std::string::npos) {
        if (address.ends_with("/64") || inet_pton(AF_INET, text.c_str(), bytes.data()) != 1) {
            return std::nullopt;
        }
        inet_ntop(AF_INET, bytes.data(), out, sizeof out);
        return std::string(out);
    }
    if (inet_pton(AF_INET6, text.c_str(), bytes.data()) != 1) {
        return std::nullopt;
    }
    constexpr std::array<unsigned char, 12> kMapped = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};
    if (std::equal(kMapped.begin(), kMapped.end(), bytes.begin())) {
        inet_ntop(AF_INET, bytes.data() + 12, out, sizeof out);
        return std::string(out);
    }
    std::fill(bytes.begin() + 8, bytes.end(), 0);
    inet_ntop(AF_INET6, bytes.data(), out, sizeof out);
    return std::string(out) + "/64";
}

} // namespace velmora::server::core
