#include "net/framer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

using velmora::protocol::Fields;
using velmora::server::net::Framer;

// Split and merged commands are checked over a socket; here is what it cannot show.
namespace {
std::vector<Fields> drain(Framer& framer) {
    std::vector<Fields> out;
    velmora::protocol::FieldViews command;
    while (framer.next(command) == Framer::Next::Command) {
        out.emplace_back(command.begin(), command.end());
    }
    return out;
}
} // namespace

TEST(Framer, WhichWaitAppliesAndWhatStaysBehindAsAPartialMark) {
    Framer framer(16000);
    framer.feed(" ## cmdPM /:/ alicia /:/ bobby /:/ hel");
    EXPECT_TRUE(drain(framer).empty());
    EXPECT_FALSE(framer.pendingHasAllFields());
    framer.feed("lo /:/ Arial /:/ 10 /:/ B");
    EXPECT_TRUE(framer.pendingHasAllFields());
    (void)framer.takePending();
    // A message with no style ends in the closing space of " /:/ ": that
    // space is not the start of the next mark, so the command is complete.
    framer.feed(" ## cmdPM /:/ alicia /:/ bobby /:/ plain /:/ Arial /:/ 10 /:/ ");
    EXPECT_TRUE(framer.pendingHasAllFields());
    EXPECT_EQ(framer.takePending(),
              (Fields{"cmdPM", "alicia", "bobby", "plain", "Arial", "10", ""}));
    framer.feed(" ## cmdXX /:/ a /:/ b");
    EXPECT_FALSE(framer.pendingHasAllFields()); // unknown codes never count as complete
    (void)framer.takePending();

    // A login is whole once its version is: it needs no quiet wait.
    framer.feed(" ## cmdLI /:/ alicia /:/ secret /:/ 1.");
    EXPECT_FALSE(framer.pendingIsWhole());
    framer.feed("4 ");
    EXPECT_TRUE(framer.pendingIsWhole());
    EXPECT_EQ(framer.takePending(), (Fields{"cmdLI", "alicia", "secret", "1.4"}));
    framer.feed("## cmdSU /:/ 1.4");
    EXPECT_FALSE(framer.pendingIsWhole());
    (void)framer.takePending();

    // The quiet timer fires inside the next command's mark ...
    framer.feed(" ## cmdSU /:/ abc #");
    EXPECT_EQ(framer.takePending(), (Fields{"cmdSU", "abc"}));
    EXPECT_FALSE(framer.hasPending());
    // ... and the rest of that mark still starts the next command.
    framer.feed("# cmdSU /:/ def ## ");
    EXPECT_EQ(drain(framer), (std::vector<Fields>{{"cmdSU", "def"}}));
}

TEST(Framer, OversizedCommandsAreRefusedWhateverTheReadBoundariesAndJunkNeverAccumulates) {
    velmora::protocol::FieldViews command;
    // Still pending, grown past the limit over two reads.
    Framer pending(100);
    pending.feed(" ## cmdPM /:/ " + std::string(80, 'x'));
    EXPECT_EQ(pending.next(command), Framer::Next::None);
    pending.feed(std::string(20, 'x'));
    EXPECT_EQ(pending.next(command), Framer::Next::TooLong);
    // Completed inside one read, between a good command and the next mark.
    Framer inOne(100);
    inOne.feed(" ## cmdSU /:/ a ## cmdPM /:/ " + std::string(120, 'x') + " ## cmdSU /:/ b");
    EXPECT_EQ(inOne.next(command), Framer::Next::Command);
    EXPECT_EQ(inOne.next(command), Framer::Next::TooLong);

    // 1 MiB of random bytes without a mark is dropped as it arrives.
    Framer junk(16000);
    std::string noise(1 << 20, '\0');
    std::generate(noise.begin(), noise.end(), std::mt19937(7));
    std::replace(noise.begin(), noise.end(), '#', '+');
    for (std::size_t at = 0; at < noise.size(); at += 8192) {
        junk.feed(std::string_view(noise).substr(at, 8192));
        EXPECT_EQ(junk.next(command), Framer::Next::None);
        EXPECT_LE(junk.buffered(), 3u);
    }
    EXPECT_GE(junk.dropped(), noise.size() - 3);
}
