// Delivery receipts through the real server: a mailbox larger than any
// buffer on the way, a client that vanishes with part of it unread and
// unconfirmed, the server killed meanwhile, and a live message never
// confirmed. Counted by the messages' numbers: each one arrives, none twice.
#include "loopback.h"

#include <chrono>
#include <map>
#include <regex>

namespace velmora::test {

namespace {
const std::string kReceipts = " /:/ receipts";

// The numbered messages in `bytes` (offline items and live ones), by number.
std::map<long, std::string> numbered(const std::string& bytes) {
    static const std::regex item(
        R"((?: :%: |\+PM /\$/ alicia /\$/ )(m\d+|live)x*(?: :/ alicia :/ [\d :-]+ :/ | /\$/ A /\$/ 9 /\$/  /\$/ )(\d+))");
    std::map<long, std::string> out;
    for (auto it = std::sregex_iterator(bytes.begin(), bytes.end(), item);
         it != std::sregex_iterator(); ++it) {
        EXPECT_TRUE(out.emplace(std::stol((*it)[2]), (*it)[1]).second) << "twice: " << (*it)[2];
    }
    return out;
}

// Reads until `count` numbered messages have come (or nothing comes for 10 s).
std::string readNumbered(WireClient& client, std::size_t count) {
    std::string got;
    for (std::string more; numbered(got).size() < count && !(more = client.take(10000)).empty();) {
        got += more;
    }
    return got;
}
} // namespace

TEST_F(LoopbackTest, WithReceiptsNothingIsForgottenUntilTheClientConfirmedIt) {
    addUser("alicia");
    addUser("bobby");
    start();
    WireClient alicia(port);
    alicia.login("alicia");
    // 100 messages of 10,000 bytes: a mailbox of 1 MB, 100 pages.
    const std::string body(9995, 'x');
    for (int i = 1; i <= 100; ++i) {
        alicia.send(" ## cmdPM /:/ alicia /:/ bobby /:/ m" + std::to_string(i) + body +
                    " /:/ A /:/ 9 /:/ ");
        if (i % 20 == 0) {
            EXPECT_EQ(alicia.sync(), [] {
                std::string uno;
                for (int k = 0; k < 20; ++k) {
                    uno += " ## +UNO /$/ bobby";
                }
                return uno;
            }());
        }
    }

    // A slow reader takes 30, confirms 25 of them and vanishes; then the
    // server itself is killed.
    {
        WireClient bobby(port, 4096);
        bobby.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4" + kReceipts);
        const auto first = numbered(readNumbered(bobby, 30));
        ASSERT_GE(first.size(), 30u);
        EXPECT_EQ(first.begin()->first, 1);
        bobby.send(" ## cmdRC /:/ bobby /:/ 1-25");
        (void)bobby.sync();
        bobby.abort();
    }
    EXPECT_EQ(stop(SIGKILL), 128 + SIGKILL);
    start();

    // The rest comes again with the same numbers, in order, once each.
    WireClient again(port);
    again.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4" + kReceipts);
    const auto rest = numbered(readNumbered(again, 75));
    ASSERT_EQ(rest.size(), 75u);
    EXPECT_EQ(rest.begin()->first, 26);
    EXPECT_EQ(rest.rbegin()->first, 100);
    EXPECT_EQ(rest.begin()->second, "m26");
    again.send(" ## cmdRC /:/ bobby /:/ 26-100");

    // A live message to a client that confirms is numbered too, and kept
    // when it is not confirmed.
    WireClient alicia2(port);
    alicia2.login("alicia");
    alicia2.send(" ## cmdPM /:/ alicia /:/ bobby /:/ live /:/ A /:/ 9 /:/ ");
    EXPECT_EQ(numbered(again.readThrough(" /$/ 101")),
              (std::map<long, std::string>{{101, "live"}}));
    again.abort();

    // A client without receipts reads what waited in the plain form.
    WireClient plain(port);
    plain.send(" ## cmdLI /:/ bobby /:/ secret /:/ 1.4");
    const std::string page = plain.readThrough(" ## +OM /$/ 1 :%: live :/ alicia :/ ");
    EXPECT_EQ(page.find(" ## +RC"), std::string::npos);
    EXPECT_EQ(plain.sync().find("m"), std::string::npos) << "confirmed messages came again";
}

} // namespace velmora::test
