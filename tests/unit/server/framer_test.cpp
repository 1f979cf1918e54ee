#include "net/framer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using velmora::protocol::Fields;
using velmora::server::net::Framer;
using velmora::server::net::QuietTimes;
using namespace std::chrono_literals;

// Split and merged commands are checked over a socket; here is what it cannot show.
constexpr QuietTimes kQuiet{5ms, 150ms};

TEST(Framer, QuietTimeDependsOnTheLastCommandAndAPartialMarkIsHeldBack) {
    Framer framer(16000, kQuiet);
    bool ok = true;
    (void)framer.feed(" ## cmdPM /:/ alicia /:/ bobby /:/ hel", ok);
    EXPECT_EQ(framer.quietFor(), 150ms);
    (void)framer.feed("lo /:/ Arial /:/ 10 /:/ B", ok);
    EXPECT_EQ(framer.quietFor(), 5ms);
    (void)framer.takePending();
    (void)framer.feed(" ## cmdXX /:/ a /:/ b", ok);
    EXPECT_EQ(framer.quietFor(), 150ms); // unknown codes never count as complete
    (void)framer.takePending();
    (void)framer.feed(" ## cm", ok);
    EXPECT_EQ(framer.quietFor(), 150ms);

    // The quiet timer fires inside the next command's mark ...
    (void)framer.takePending();
    (void)framer.feed(" ## cmdSU /:/ abc #", ok);
    EXPECT_EQ(framer.takePending(), (Fields{"cmdSU", "abc"}));
    EXPECT_FALSE(framer.hasPending());
    // ... and the rest of that mark still starts the next command.
    EXPECT_EQ(framer.feed("# cmdSU /:/ def ## ", ok), (std::vector<Fields>{{"cmdSU", "def"}}));
    // The closing space of a field separator is not held back.
    Framer other(16000, kQuiet);
    (void)other.feed(" ## cmdSU /:/ ", ok);
    EXPECT_EQ(other.takePending(), (Fields{"cmdSU", ""}));
}

TEST(Framer, OversizedCommandsAreRefusedAndJunkNeverAccumulates) {
    Framer framer(100, kQuiet);
    bool ok = true;
    (void)framer.feed(" ## cmdPM /:/ " + std::string(80, 'x'), ok);
    EXPECT_TRUE(ok);
    (void)framer.feed(std::string(20, 'x'), ok);
    EXPECT_FALSE(ok);

    // 1 MiB of random bytes without a mark is dropped as it arrives.
    Framer junk(16000, kQuiet);
    std::string noise(1 << 20, '\0');
    std::generate(noise.begin(), noise.end(), std::mt19937(7));
    std::replace(noise.begin(), noise.end(), '#', '+');
    for (std::size_t at = 0; at < noise.size(); at += 8192) {
        EXPECT_TRUE(junk.feed(std::string_view(noise).substr(at, 8192), ok).empty());
        EXPECT_LE(junk.buffered(), 3u);
    }
    EXPECT_GE(junk.dropped(), noise.size() - 3);
}
