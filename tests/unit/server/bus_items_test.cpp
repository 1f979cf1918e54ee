// Payloads between nodes: records of any bytes come back whole, and a
// damaged payload gives the items before the damage and nothing else.
#include "bus/items.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::server::bus {
namespace {

std::vector<std::string> read(std::string_view payload, bool& whole) {
    std::vector<std::string> out;
    whole = forEachItem(payload, [&](char kind, std::string_view body) {
        out.push_back(std::string(1, kind) + "|" + std::string(body));
    });
    return out;
}

TEST(BusItems, RecordsOfAnyBytesComeBackWholeAndDamageStopsTheRead) {
    using namespace std::string_literals;
    std::string payload;
    const std::string record = " ## +PM /$/ alice1 /$/ 12:3 \n\0x /$/ A /$/ 9 /$/ "s;
    appendItem(payload, kDeliver, "bobby", record);
    appendItem(payload, kOnline, "7", "a alice1");
    bool whole = false;
    auto items = read(payload, whole);
    EXPECT_TRUE(whole);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0], "D|bobby " + record);
    EXPECT_EQ(items[1], "+|7 a alice1");
    EXPECT_EQ(firstWord("7 a alice1").second, "a alice1");

    for (const std::string& damaged : {payload + "D", payload + "D9", payload + "D-1:x",
                                       payload + "D99999999999999999999:x", payload + "D5:abc"}) {
        items = read(damaged, whole);
        EXPECT_FALSE(whole) << damaged;
        EXPECT_EQ(items.size(), 2u);
    }
}

} // namespace
} // namespace velmora::server::bus
