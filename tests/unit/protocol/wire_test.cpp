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
    // Each head is the record mark, the code and the field separator.
    for (auto [head, code] : {std::pair{p::kHeadLI, p::cmd::LI}, {p::kHeadPM, p::cmd::PM},
                              {p::kHeadAB, p::cmd::AB}, {p::kHeadDB, p::cmd::DB},
                              {p::kHeadCO, p::cmd::CO}, {p::kHeadCM, p::cmd::CM},
                              {p::kHeadCE, p::cmd::CE}, {p::kHeadCI, p::cmd::CI},
                              {p::kHeadRA, p::cmd::RA}, {p::kHeadSU, p::cmd::SU}}) {
        EXPECT_EQ(std::string(head),
                  std::string(p::kRecordMark) + std::string(code) + std::string(p::kCommandFieldSep));
    }
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
    EXPECT_EQ(p::splitBatch(" ## +SO /$/  /$/ 10 /$/ 1"),
              (Records{{"+SO", "", "10", "1"}}));
    EXPECT_EQ(p::splitBatch(" ## +BL /$/ "), (Records{{"+BL", ""}}));
    // A mark with nothing after it is a record with no fields at all.
    EXPECT_EQ(p::splitBatch(" ## +LI /$/ Login=True ## "), (Records{{"+LI", "Login=True"}, {}}));
    // Codes are not trimmed or case-folded here: the dispatcher compares exactly.
    EXPECT_EQ(p::splitBatch(" ## +li /$/ x")[0][0], "+li");
    // Separators without their spaces are ordinary text.
    EXPECT_EQ(p::splitBatch(" ## +PM /$/ a/$/b ##c"), (Records{{"+PM", "a/$/b ##c"}}));
    // Commands split on their own separator.
    EXPECT_EQ(p::splitBatch(" ## cmdAB /:/ alicia /:/ bobby", p::kCommandFieldSep),
              (Records{{"cmdAB", "alicia", "bobby"}}));
}

TEST(WireSplitting, ARecordCutByTheNetworkIsNotReassembled) {
    const std::string whole = " ## +PM /$/ alicia /$/ hello /$/ Arial /$/ 12 /$/ B";
    const std::string first = whole.substr(0, 26);
    const std::string rest = whole.substr(26) + " ## +LOn /$/ bobby";
    // The first part arrives as a record with its fields cut short ...
    EXPECT_EQ(p::splitBatch(first), (Records{{"+PM", "alicia", "hel"}}));
    // ... and the rest, lacking a leading mark, is dropped as piece 0.
    EXPECT_EQ(p::splitBatch(rest), (Records{{"+LOn", "bobby"}}));
}

TEST(WireSplitting, ListSeparatorsInsideFields) {
    EXPECT_EQ(p::split("n %/ alicia :%: f %/ bobby", p::kListItemSep),
              (p::Fields{"n %/ alicia", "f %/ bobby"}));
    EXPECT_EQ(p::split(" :/ alicia :/ bobby", p::kNameListSep), (p::Fields{"", "alicia", "bobby"}));
    EXPECT_EQ(p::split("a :%:  :%: b", p::kListItemSep), (p::Fields{"a", "", "b"}));
    EXPECT_EQ(p::join({"a", "", "b"}, p::kListItemSep), "a :%:  :%: b");
    EXPECT_TRUE(p::split("", p::kListItemSep).empty());
}
