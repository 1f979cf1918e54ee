// One line per event, timestamped, to one stream (stderr in the server).
// Bytes outside printable ASCII (and the backslash) are written as \xNN.
// Under systemd (stderr is the journal's stream) each event goes to the
// journal instead, with fields an operator can filter on.
#pragma once

#include <ostream>
#include <string_view>

namespace velmora::server::core {

// What an event is about. Empty views are unknown.
struct LogFields {
    std::string_view event; // "login", "logout", "login-refused", "kick", "file-transfer"…
    std::string_view user;
    std::string_view address;
    int priority = 6; // syslog's: 3 error, 4 warning, 6 info
    // A refused login that hit a limit rather than a wrong password.
    bool limited = false;
};

// The fields of a line as the server words its events ("#3 192.0.2.7 alicia
// logged in"): every call site keeps writing plain text, and the main
// events still reach the journal with their user and address. The views
// point into `line`.
[[nodiscard]] LogFields fieldsOf(std::string_view line);

// Hears every event with its fields, on the thread that logs (the network
// thread): the metrics count logins this way.
class LogListener {
public:
    virtual void logged(const LogFields& fields) = 0;

protected:
    ~LogListener() = default;
};

class Log {
public:
    explicit Log(std::ostream& out, bool journal = false) : out_(out), journal_(journal) {}
    void line(std::string_view text);
    // A line whose fields the caller knows.
    void event(const LogFields& fields, std::string_view text);
    void setListener(LogListener* listener) { listener_ = listener; }

    // True when stderr is connected to the journal, as systemd documents
    // it: $JOURNAL_STREAM names stderr's device and inode.
    [[nodiscard]] static bool stderrIsJournal();

private:
    std::ostream& out_;
    bool journal_;
    LogListener* listener_ = nullptr;
};

} // namespace velmora::server::core
