#include "options.h"

#include "core/clock.h"
#include "net/metrics_http.h"
#include "protocol/transfer.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <functional>
#include <map>

namespace velmora::server {

namespace {

std::size_t count(const std::string& key, const std::string& value) {
    std::size_t out = 0;
    const auto* end = value.data() + value.size();
    const auto [ptr, ec] = std::from_chars(value.data(), end, out);
    if (value.empty() || ec != std::errc() || ptr != end) {
        throw OptionError("--" + key + " needs a whole number, not \"" + value + "\"");
    }
    return out;
}

int smallCount(const std::string& key, const std::string& value) {
    const std::size_t n = count(key, value);
    if (n > 1'000'000'000) {
        throw OptionError("--" + key + " is too large");
    }
    return static_cast<int>(n);
}

void setAddress(const std::string& key, const std::string& value, std::string& host,
                unsigned short& port) {
    const auto colon = value.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        throw OptionError("--" + key + " needs HOST:PORT, not \"" + value + "\"");
    }
    const std::size_t number = count(key, value.substr(colon + 1));
    if (number > 65535) {
        throw OptionError("--" + key + " port out of range");
    }
    host = value.substr(0, colon);
    port = static_cast<unsigned short>(number);
}

void setListen(Options& o, const std::string& value) {
    if (value == "off") {
        o.host.clear();
        return;
    }
    setAddress("listen", value, o.host, o.port);
}

void check(const Options& o) {
    const bool tls = !o.tls.host.empty();
    if (tls && (o.tls.certificateFile.empty() || o.tls.keyFile.empty())) {
        throw OptionError("--tls-listen needs --tls-cert and --tls-key");
    }
    if (!tls && (!o.tls.certificateFile.empty() || !o.tls.keyFile.empty())) {
        throw OptionError("--tls-cert and --tls-key need --tls-listen");
    }
    if (!tls && o.host.empty()) {
        throw OptionError("--listen off needs --tls-listen");
    }
}

bool onOff(const std::string& key, const std::string& value) {
    if (value == "on") {
        return true;
    }
    if (value == "off") {
        return false;
    }
    throw OptionError("--" + key + " needs on or off");
}

using Setter = std::function<void(Options&, const std::string& key, const std::string& value)>;

const std::map<std::string, Setter>& setters() {
    static const std::map<std::string, Setter> table = {
        {"listen", [](Options& o, auto&, auto& v) { setListen(o, v); }},
        {"tls-listen",
         [](Options& o, auto& k, auto& v) { setAddress(k, v, o.tls.host, o.tls.port); }},
        {"tls-cert", [](Options& o, auto&, auto& v) { o.tls.certificateFile = v; }},
        {"tls-key", [](Options& o, auto&, auto& v) { o.tls.keyFile = v; }},
        {"db", [](Options& o, auto&, auto& v) { o.db = v; }},
        {"min-version",
         [](Options& o, auto&, auto& v) {
             o.core.minVersion = core::parseVersion(v);
             if (!o.core.minVersion) {
                 throw OptionError("--min-version needs MAJOR.MINOR, not \"" + v + "\"");
             }
         }},
        {"signup", [](Options& o, auto& k, auto& v) { o.core.signup = onOff(k, v); }},
        {"profile-site", [](Options& o, auto&, auto& v) { o.core.profileSite = v; }},
        {"room-limit", [](Options& o, auto& k, auto& v) { o.core.roomLimit = smallCount(k, v); }},
        {"welcome", [](Options& o, auto&, auto& v) { o.core.welcome = v; }},
        {"max-offline-per-user",
         [](Options& o, auto& k, auto& v) { o.core.maxOfflinePerUser = smallCount(k, v); }},
        {"max-logins-per-minute",
         [](Options& o, auto& k, auto& v) { o.core.maxLoginsPerMinute = smallCount(k, v); }},
        {"max-name-length",
         [](Options& o, auto& k, auto& v) { o.core.maxNameLength = count(k, v); }},
        {"hash-cost",
         [](Options& o, auto&, auto& v) {
             if (v != "interactive" && v != "fast") {
                 throw OptionError("--hash-cost needs interactive or fast");
             }
             o.core.hashCost = v == "fast" ? core::HashCost::Fast : core::HashCost::Interactive;
         }},
        {"max-record-bytes",
         [](Options& o, auto& k, auto& v) { o.limits.connection.maxRecordBytes = count(k, v); }},
        {"max-pending-bytes",
         [](Options& o, auto& k, auto& v) { o.limits.connection.maxPendingBytes = count(k, v); }},
        {"max-connections",
         [](Options& o, auto& k, auto& v) { o.limits.maxConnections = count(k, v); }},
        {"quiet-ms",
         [](Options& o, auto& k, auto& v) {
             o.limits.connection.quiet.complete = std::chrono::milliseconds(smallCount(k, v));
         }},
        {"max-connections-per-address",
         [](Options& o, auto& k, auto& v) { o.limits.maxConnectionsPerAddress = count(k, v); }},
        {"login-timeout-s",
         [](Options& o, auto& k, auto& v) {
             o.limits.loginTimeout = std::chrono::seconds(smallCount(k, v));
         }},
        {"dead-peer-s",
         [](Options& o, auto& k, auto& v) {
             o.limits.deadPeer = std::chrono::seconds(smallCount(k, v));
         }},
        {"commands-per-second",
         [](Options& o, auto& k, auto& v) {
             o.limits.connection.commandsPerSecond = smallCount(k, v);
         }},
        {"command-burst",
         [](Options& o, auto& k, auto& v) {
             o.limits.connection.commandBurst = std::max(1, smallCount(k, v));
         }},
        {"max-violations",
         [](Options& o, auto& k, auto& v) { o.core.maxViolations = smallCount(k, v); }},
        {"password-threads",
         [](Options& o, auto& k, auto& v) { o.limits.passwordThreads = count(k, v); }},
        {"password-queue",
         [](Options& o, auto& k, auto& v) { o.limits.passwordQueue = count(k, v); }},
        {"bus",
         [](Options& o, auto&, auto& v) {
             try {
                 (void)bus::parseBusAddress(v);
             } catch (const bus::BusError& e) {
                 throw OptionError(std::string("--bus: ") + e.what());
             }
             o.bus.address = v;
         }},
        {"node",
         [](Options& o, auto&, auto& v) {
             // The name goes into Redis keys and bus messages as one word.
             if (v.empty() || v.size() > 64 ||
                 v.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                     "0123456789._:-") != std::string::npos) {
                 throw OptionError("--node needs letters, digits, \".\", \"_\", \":\" or \"-\"");
             }
             o.bus.node = v;
         }},
        {"heartbeat-ms",
         [](Options& o, auto& k, auto& v) {
             o.bus.heartbeat = std::chrono::milliseconds(std::max(10, smallCount(k, v)));
         }},
        {"file-max-bytes", [](Options& o, auto& k, auto& v) { o.core.fileMaxBytes = count(k, v); }},
        {"file-transfers",
         [](Options& o, auto& k, auto& v) { o.core.fileTransfers = smallCount(k, v); }},
        {"file-rate",
         [](Options& o, auto& k, auto& v) { o.limits.transfer.bytesPerSecond = count(k, v); }},
        {"file-idle",
         [](Options& o, auto& k, auto& v) {
             o.limits.transfer.idle = std::chrono::seconds(std::max(1, smallCount(k, v)));
         }},
        {"transfer-host",
         [](Options& o, auto&, auto& v) {
             protocol::OfferId probe{std::string(protocol::transfer::kTokenHexChars, '0'), v, 1, 0};
             if (!protocol::parseOfferId(protocol::formatOfferId(probe), probe)) {
                 throw OptionError("--transfer-host needs a host name or an address");
             }
             o.transferHost = v;
         }},
        {"metrics-listen",
         [](Options& o, auto&, auto& v) {
             if (v == "off") {
                 o.metricsHost.clear();
             } else if (!net::parseMetricsAddress(v, o.metricsHost, o.metricsPort)) {
                 throw OptionError("--metrics-listen needs HOST:PORT or PORT, not \"" + v + "\"");
             }
         }},
        {"partial-quiet-ms",
         [](Options& o, auto& k, auto& v) {
             o.limits.connection.quiet.partial = std::chrono::milliseconds(smallCount(k, v));
         }},
        // The operator's tools (server/admin/).
        {"control", [](Options& o, auto&, auto& v) { o.control = v; }},
        {"retire-names",
         [](Options& o, auto&, auto& v) {
             const auto duration = core::parseDuration(v);
             if (!duration) {
                 throw OptionError("--retire-names needs a duration such as 30d, not \"" + v +
                                   "\"");
             }
             o.core.retireNames = *duration;
         }},
    };
    return table;
}

void set(Options& o, const std::string& key, const std::string& value) {
    const auto it = setters().find(key);
    if (it == setters().end()) {
        throw OptionError("unknown option --" + key);
    }
    it->second(o, key, value);
}

std::string trim(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

void readConfig(Options& o, const std::string& path) {
    std::ifstream in(path);
    if (!in) {
        throw OptionError("cannot read config file " + path);
    }
    // Lines are read into a bounded buffer: a file without line breaks (or a
    // device in its place) is refused, not read without end.
    std::array<char, 4096> buffer{};
    int number = 0;
    while (in.getline(buffer.data(), buffer.size()) || in.gcount() > 0) {
        ++number;
        if (in.fail() && !in.eof()) {
            throw OptionError(path + ":" + std::to_string(number) + ": line too long");
        }
        if (number > 10000) {
            throw OptionError(path + ": more than 10000 lines");
        }
        const std::string line = buffer.data();
        const std::string text = trim(line);
        if (text.empty() || text[0] == '#') {
            continue;
        }
        const auto eq = text.find('=');
        if (eq == std::string::npos) {
            throw OptionError(path + ":" + std::to_string(number) + ": expected key=value");
        }
        set(o, trim(text.substr(0, eq)), trim(text.substr(eq + 1)));
    }
}

} // namespace

Options parseOptions(const std::vector<std::string>& args) {
    Options o;
    for (std::size_t i = 0; i + 1 < args.size(); ++i) {
        if (args[i] == "--config") {
            readConfig(o, args[i + 1]);
        }
    }
    for (std::size_t i = 0; i < args.size(); i += 2) {
        if (!args[i].starts_with("--")) {
            throw OptionError("unexpected argument \"" + args[i] + "\"");
        }
        if (i + 1 >= args.size()) {
            throw OptionError(args[i] + " needs a value");
        }
        if (args[i] != "--config") {
            set(o, args[i].substr(2), args[i + 1]);
        }
    }
    check(o);
    return o;
}

std::string usage() {
    return R"(usage: velmorad [--flag value]...
       velmorad useradd NAME PASSWORD [--db PATH|URI] [--hash-cost COST]
       velmorad user|sessions|kick|ban|unban|bans|rooms|backup ...  (velmorad user --help)
       velmorad --help | --version

  --listen HOST:PORT|off      address to listen on (127.0.0.1:6668; port 0 picks one)
  --tls-listen HOST:PORT      also serve the protocol inside TLS 1.2/1.3 there (none)
  --tls-cert FILE             the TLS port's certificate chain (PEM)
  --tls-key FILE              the TLS port's private key (PEM)
  --db PATH|URI               SQLite file (velmorad.db) or postgresql://USER@HOST/DB
  --config FILE               key=value lines with the flag names below; flags win
  --min-version X.Y           oldest client version allowed to log in (none)
  --signup on|off             sign-up from the client (on)
  --profile-site URL          profile web site sent to clients (empty)
  --room-limit N              members per conference room (10)
  --welcome TEXT              notice sent after each login (none)
  --hash-cost interactive|fast  Argon2id cost of new password hashes (interactive)
  --max-record-bytes N        largest command accepted (16000)
  --max-pending-bytes N       output a full socket leaves unsent before it is dropped (1048576)
  --max-offline-per-user N    offline messages kept per recipient (500)
  --max-logins-per-minute N   failed logins and sign-ups per address (30; 0 = no limit)
  --max-connections N         open connections (10000)
  --max-connections-per-address N  per IPv4 address or IPv6 /64 (20)
  --login-timeout-s N         close a connection without a login after N s (30)
  --dead-peer-s N             drop a peer that stopped acknowledging after about N s (60)
  --commands-per-second N     command budget per connection; past it reading pauses (20; 0 = none)
  --command-burst N           commands a connection may send at once (100)
  --max-violations N          protocol violations before a connection is closed (20; 0 = never)
  --password-threads N        password hashing threads (0 = one per core)
  --password-queue N          logins waiting for a hash before further ones fail (256)
  --max-name-length N         longest user or room name accepted at sign-up (32)
  --bus redis://HOST:PORT     share users with other nodes through Redis (also unix:///PATH;
                              none: a single server)
  --node NAME                 this node's name on the bus (HOST:PORT of --listen)
  --heartbeat-ms N            bus heartbeat; a node 3 beats late is taken for dead (1000)
  --file-max-bytes N          largest file a transfer may carry (4294967296; 0 = no file transfer)
  --file-transfers N          file offers one user may hold at once (4)
  --file-rate N               bytes per second per sending user (0 = no limit)
  --file-idle N               close a data connection that moved nothing for N s (60)
  --transfer-host HOST        host clients on other nodes dial for transfers held here
                              (the listen host; this machine's name when that is a wildcard)
  --metrics-listen HOST:PORT  serve OpenMetrics at /metrics there; a bare PORT is on
                              127.0.0.1 (off)
  --quiet-ms N                wait for a complete last command (5)
  --partial-quiet-ms N        wait for the rest of an incomplete last command (1000)
  --control PATH|off          the operator's control socket ($RUNTIME_DIRECTORY/velmorad.ctl
                              under systemd, else the database path + ".ctl")
  --retire-names DURATION     a deleted account's name stays taken this long (30d; 0 = not)
)";
}

} // namespace velmora::server
