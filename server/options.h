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

struct Options {
    std::string host = "127.0.0.1";
    unsigned short port = protocol::kDefaultPort;
    std::string db = "velmorad.db";
    core::CoreConfig core;
    net::ServerLimits limits;
    bus::BusOptions bus;
};

// Reads `--flag value` pairs (the program name not included). A `--config
// FILE` is read first, whatever its position, so that flags override it.
[[nodiscard]] Options parseOptions(const std::vector<std::string>& args);

// The flags and what they do, for --help.
[[nodiscard]] std::string usage();

} // namespace velmora::server
