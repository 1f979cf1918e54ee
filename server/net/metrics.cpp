#include "net/metrics.h"

#include <cstdio>

namespace velmora::server::net {

namespace {

class Writer {
public:
    explicit Writer(std::string& out) : out_(out) {}

    void family(const char* name, const char* type, const char* help) {
        out_.append("# TYPE ").append(name).append(" ").append(type).append("\n");
        out_.append("# HELP ").append(name).append(" ").append(help).append("\n");
    }
    void sample(const std::string& name, std::uint64_t value) {
        out_.append(name).append(" ").append(std::to_string(value)).append("\n");
    }
    void gauge(const char* name, const char* help, std::uint64_t value) {
        family(name, "gauge", help);
        sample(name, value);
    }
    void counter(const char* name, const char* help, std::uint64_t value) {
        family(name, "counter", help);
        sample(std::string(name) + "_total", value);
    }

private:
    std::string& out_;
};

} // namespace

void LoginCounter::logged(const core::LogFields& fields) {
    if (fields.event == "login") {
        metrics_.loginsOk.add();
        ++metrics_.openSessions;
    } else if (fields.event == "logout") {
        --metrics_.openSessions;
    } else if (fields.event == "login-refused") {
        (fields.limited ? metrics_.loginsLimited : metrics_.loginsRefused).add();
    }
}

std::string renderOpenMetrics(const Metrics& m, bool bus) {
    std::string out;
    out.reserve(4096);
    Writer w(out);
    w.gauge("velmorad_connections", "Open client connections, logged in or not.",
            m.connections.get());
    w.gauge("velmorad_sessions", "Users logged in on this server.", m.sessions.get());
    w.family("velmorad_logins", "counter",
             "Logins by result: ok, refused (wrong password, unknown name, old client) or "
             "limited (rate limit, password queue full).");
    w.sample("velmorad_logins_total{result=\"ok\"}", m.loginsOk.get());
    w.sample("velmorad_logins_total{result=\"refused\"}", m.loginsRefused.get());
    w.sample("velmorad_logins_total{result=\"limited\"}", m.loginsLimited.get());
    w.counter("velmorad_messages_relayed", "Private and room messages delivered to a connection.",
              m.messagesRelayed.get());
    w.counter("velmorad_offline_stored", "Messages stored for an offline recipient.",
              m.offlineStored.get());
    w.counter("velmorad_offline_delivered",
              "Offline messages whose delivery the recipient's TCP acknowledged.",
              m.offlineDelivered.get());
    w.gauge("velmorad_password_queue", "Password jobs waiting for the password pool.",
            m.passwordQueue.get());
    w.counter("velmorad_bytes_received", "Protocol bytes read from client connections.",
              m.bytesReceived.get());
    w.counter("velmorad_bytes_sent", "Protocol bytes written to client connections.",
              m.bytesSent.get());
    if (bus) {
        w.counter("velmorad_bus_items_published", "Items this node published on the bus.",
                  m.busPublished.get());
        w.counter("velmorad_bus_items_received", "Items of other nodes this node handled.",
                  m.busReceived.get());
    }
    w.counter("velmorad_store_commits", "Transactions committed to the database.",
              m.storeCommits.get());
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.6f",
                  static_cast<double>(m.storeCommitMicroseconds.get()) / 1e6);
    w.family("velmorad_store_commit_seconds", "counter", "Time spent committing, in seconds.");
    out.append("velmorad_store_commit_seconds_total ").append(seconds).append("\n");
    w.gauge("velmorad_file_transfers_active", "File transfers with a data connection open.",
            m.fileTransfersActive.get());
    w.counter("velmorad_file_bytes", "File bytes passed from senders to receivers.",
              m.fileBytes.get());
    out.append("# EOF\n");
    return out;
}

} // namespace velmora::server::net
