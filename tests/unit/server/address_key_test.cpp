#include "net/server.h"

#include <gtest/gtest.h>

using velmora::server::net::addressKey;

// Connections are capped per IPv4 address, and per /64 for IPv6, where one
// subscriber usually holds a whole /64.
TEST(AddressKey, IPv4AsItIsIPv6ByItsSlash64) {
    EXPECT_EQ(addressKey(asio::ip::make_address("192.0.2.7")), "192.0.2.7");
    EXPECT_EQ(addressKey(asio::ip::make_address("::ffff:192.0.2.7")), "192.0.2.7");
    EXPECT_EQ(addressKey(asio::ip::make_address("2001:db8:1:2:aaaa::1")), "2001:db8:1:2::/64");
    EXPECT_EQ(addressKey(asio::ip::make_address("2001:db8:1:2:bbbb::9")), "2001:db8:1:2::/64");
}
