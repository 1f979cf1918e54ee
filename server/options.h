// Command-line flags and the optional key=value config file.
#pragma once

#include "bus/node.h"
#include "core/config.h"
#include "net/server.h"
#include "protocol/wire.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::server {

class OptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The TLS port: off while `host` is empty.
struct TlsListen {
    std::string host;
    unsigned short port = 0;
    std::string certificateFile;
    std::string keyFile;
};

struct Options {
    std::string host = "127.0.0.1"; // empty: no plain port ("--listen off")
    unsigned short port = protocol::kDefaultPort;
    TlsListen tls;
    std::string db = "velmorad.db";
    core::CoreConfig core;
    net::ServerLimits limits;
    bus::BusOptions bus;
    // The host clients of other nodes dial for offers held here; empty: the
    // listen host, or this machine's name when that is a wildcard.
    std::string transferHost;
    // The operator's control socket; empty: the default place, "off": none.
    std::string control;
    // The metrics listener (GET /metrics): off while `metricsHost` is empty.
    std::string metricsHost;
    unsigned short metricsPort = 0;
};

// Reads `--flag value` pairs (the program name not included). A `--config
// FILE` is read first, whatever its position, so that flags override it.
// A server needs a port to listen on, and a TLS port its certificate and key.
[[nodiscard]] Options parseOptions(const std::vector<std::string>& args);

// The flags and what they do, for --help.
[[nodiscard]] std::string usage();

} // namespace velmora::server
