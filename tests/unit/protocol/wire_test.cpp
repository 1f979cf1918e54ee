#include "protocol/receipts.h"
#include "protocol/wire.h"

#include <gtest/gtest.h>

namespace p = velmora::protocol;
using Records = std::vector<p::Fields>;

TEST(WireCommands, HeadsAndFieldsAreFramedExactly) {
    EXPECT_EQ(p::buildCommand(p::kHeadLI, {"alicia", "secret", "1.4"}),
              " ## cmdLI /:/ alicia /:/ secret /:/ 1.4");
    EXPECT_EQ(p::buildCommand(p::kHeadSU, {"bob"}), " ## cmdSU /:/ bob");
    // Empty fields keep their separators; nothing follows the last field.
    EXPECT_EQ(p::buildCommand(p::kHeadPM, {"alicia", "bobby", "hi", "Arial", "12", ""}),
              " ## cmdPM /:/ alicia /:/ bobby /:/ hi /:/ Arial /:/ 12 /:/ ");
    EXPECT_EQ(p::buildReply(p::reply::BL, {""}), " ## +BL /$/ ");
    EXPECT_EQ(p::buildReply(p::reply::LI, {"Login=True"}), " ## +LI /$/ Login=True");
}

TEST(WireSplitting, RecordsAndFieldsFollowTheSeparatorsExactly) {
    // Two records back to back; spaces around the marks belong to the marks.
    EXPECT_EQ(p::splitBatch(" ## +LOn /$/ bob ## +LOff /$/ bob"),
              (Records{{"+LOn", "bob"}, {"+LOff", "bob"}}));
    // Whatever stands before the first mark is lost, including a record's tail.
    EXPECT_EQ(p::splitBatch("ob /$/ x ## +SU /$/ a%b"), (Records{{"+SU", "a%b"}}));
    EXPECT_TRUE(p::splitBatch("no mark at all").empty());
    EXPECT_TRUE(p::splitBatch("").empty());
    // Empty fields between separators are kept as empty strings.
    EXPECT_EQ(p::splitBatch(" ## +SO /$/  /$/ 10 /$/ 1"), (Records{{"+SO", "", "10", "1"}}));
    EXPECT_EQ(p::splitBatch(" ## +BL /$/ "), (Records{{"+BL", ""}}));
    // A mark with nothing after it is a record with no fields at all.
    EXPECT_EQ(p::splitBatch(" ## +LI /$/ Login=True ## "), (Records{{"+LI", "Login=True"}, {}}));
    // Separators without their spaces are ordinary text.
    EXPECT_EQ(p::splitBatch(" ## +PM /$/ a/$/b ##c"), (Records{{"+PM", "a/$/b ##c"}}));
    // Commands split on their own separator.
    EXPECT_EQ(p::splitBatch(" ## cmdAB /:/ alicia /:/ bobby", p::kCommandFieldSep),
              (Records{{"cmdAB", "alicia", "bobby"}}));
}

TEST(WireSplitting, ListSeparatorsInsideFields) {
    EXPECT_EQ(p::split("n %/ alicia :%: f %/ bobby", p::kListItemSep),
              (p::Fields{"n %/ alicia", "f %/ bobby"}));
    EXPECT_EQ(p::split(" :/ alicia :/ bobby", p::kNameListSep), (p::Fields{"", "alicia", "bobby"}));
    EXPECT_EQ(p::split("a :%:  :%: b", p::kListItemSep), (p::Fields{"a", "", "b"}));
    EXPECT_EQ(p::join({"a", "", "b"}, p::kListItemSep), "a :%:  :%: b");
    EXPECT_TRUE(p::split("", p::kListItemSep).empty());
}

TEST(WireReceipts, NumberListsReadBackAsTheyWereWrittenAndStayWithinTheBound) {
    std::vector<p::MessageNumber> read;
    EXPECT_EQ(p::numberLists({25, 18, 17, 19, 20, 17}), std::vector<std::string>{"17-20,25"});
    ASSERT_TRUE(p::parseNumberList("17-20,25", read, p::kMaxListNumbers));
    EXPECT_EQ(read, (std::vector<p::MessageNumber>{17, 18, 19, 20, 25}));
    // A run longer than one list may name goes on in the next list.
    std::vector<p::MessageNumber> many(p::kMaxListNumbers + 2);
    for (std::size_t i = 0; i < many.size(); ++i) {
        many[i] = static_cast<p::MessageNumber>(i + 1);
    }
    EXPECT_EQ(p::numberLists(many), (std::vector<std::string>{"1-4096", "4097-4098"}));
    // Anything but positive numbers and rising ranges within the bound is refused.
    for (const char* bad :
         {"", "0", "x", "5,", ",5", "9-3", "1-4097", "-1", "1--2", "99999999999999999999"}) {
        read.clear();
        EXPECT_EQ(p::parseNumberList(bad, read, p::kMaxListNumbers), std::string_view(bad).empty())
            << bad;
    }
}
