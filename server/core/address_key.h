// The key under which connections, failed logins and bans from one place
// are counted: the IPv4 address (also when mapped into IPv6), or the /64 of
// an IPv6 address, written "2001:db8:1:2::/64".
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace velmora::server::core {

// Nothing when `address` is not an IPv4 or IPv6 address. An IPv6 address
// may carry "/64" already.
[[nodiscard]] std::optional<std::string> addressKey(std::string_view address);

} // namespace velmora::server::core
