#include "transfer.h"

#include <charconv>

namespace velmora::protocol {

namespace {

bool parsePort(std::string_view text, std::uint16_t& port) {
    if (text.empty()) {
        port = 0;
        return true;
    }
    std::uint64_t value = 0;
    return parseByteCount(text, value) && value > 0 && value <= 65535 &&
           (port = static_cast<std::uint16_t>(value), true);
}

} // namespace

bool isOfferToken(std::string_view text) {
    if (text.size() != transfer::kTokenHexChars) {
        return false;
    }
    for (const char c : text) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) {
            return false;
        }
    }
    return true;
}

bool parseByteCount(std::string_view text, std::uint64_t& value) {
    constexpr std::uint64_t kLargest = std::uint64_t{1} << 53;
    if (text.empty() || text.size() > 16) {
        return false;
    }
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    std::uint64_t read = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
    if (error != std::errc{} || end != text.data() + text.size() || read > kLargest) {
        return false;
    }
    value = read;
    return true;
}

std::string formatOfferId(const OfferId& id) {
    std::string text = id.token;
    if (!id.host.empty()) {
        text += kOfferNodeSep;
        text += id.host;
        text += kOfferPortSep;
        if (id.port != 0) {
            text += std::to_string(id.port);
        }
        text += kOfferPortSep;
        if (id.tlsPort != 0) {
            text += std::to_string(id.tlsPort);
        }
    }
    return text;
}

bool parseOfferId(std::string_view text, OfferId& id) {
    OfferId read;
    const std::size_t at = text.find(kOfferNodeSep);
    read.token = std::string(text.substr(0, at));
    if (!isOfferToken(read.token)) {
        return false;
    }
    if (at != std::string_view::npos) {
        const std::string_view node = text.substr(at + 1);
        const std::size_t tlsSep = node.rfind(kOfferPortSep);
        if (tlsSep == std::string_view::npos || tlsSep == 0) {
            return false;
        }
        const std::size_t portSep = node.rfind(kOfferPortSep, tlsSep - 1);
        if (portSep == std::string_view::npos || portSep == 0) {
            return false;
        }
        read.host = std::string(node.substr(0, portSep));
        for (const char c : read.host) {
            // A host name or an address, IPv6 included: nothing else.
            const bool ok = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                            (c >= 'A' && c <= 'Z') || c == '.' || c == '-' || c == ':';
            if (!ok) {
                return false;
            }
        }
        if (read.host.size() > 253 ||
            !parsePort(node.substr(portSep + 1, tlsSep - portSep - 1), read.port) ||
            !parsePort(node.substr(tlsSep + 1), read.tlsPort) ||
            (read.port == 0 && read.tlsPort == 0)) {
            return false;
        }
    }
    id = std::move(read);
    return true;
}

} // namespace velmora::protocol
