#include "core/log.h"

#include <gtest/gtest.h>

#include <sstream>

namespace velmora::server::core {

namespace {
struct Seen final : LogListener {
    void logged(const LogFields& f) override {
        text << f.event << '|' << f.user << '|' << f.address << '|' << f.priority
             << (f.limited ? "|limited" : "") << '\n';
    }
    std::ostringstream text;
};
} // namespace

// The fields the journal and the metrics get, from lines worded as the
// server words them; quoted peer bytes never pass for an event.
TEST(LogFields, TheMainEventsCarryTheirUserAndAddress) {
    std::ostringstream out;
    Log log(out);
    Seen seen;
    log.setListener(&seen);
    for (const char* line : {
             "#3 192.0.2.7 alicia logged in",
             "#3 192.0.2.7 alicia logged in (receipts)",
             "#3 192.0.2.7 alicia logged out",
             "#4 192.0.2.8 login refused for \"mallory\"",
             "#4 192.0.2.8 login refused: too many failed attempts from this address",
             "#5 192.0.2.9 alicia replaced by a new login on #6",
             "file transfer alicia to bobby done: 81984 bytes in 0.01 s",
             "#3 192.0.2.7:51234 connected",
             "#3 192.0.2.7 alicia invalid room name \"x logged in\" ignored",
             "accept failed: Too many open files",
         }) {
        log.line(line);
    }
    EXPECT_EQ(seen.text.str(), "login|alicia|192.0.2.7|6\n"
                               "login|alicia|192.0.2.7|6\n"
                               "logout|alicia|192.0.2.7|6\n"
                               "login-refused|mallory|192.0.2.8|4\n"
                               "login-refused||192.0.2.8|4|limited\n"
                               "kick|alicia|192.0.2.9|4\n"
                               "file-transfer|alicia||6\n"
                               "connect||192.0.2.7:51234|6\n"
                               "||192.0.2.7|6\n"
                               "|||3\n");
    // Off the journal the lines stay as they were, one per event.
    const std::string lines = out.str();
    EXPECT_NE(lines.find(" #3 192.0.2.7 alicia logged in\n"), std::string::npos);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 10);
}

} // namespace velmora::server::core
