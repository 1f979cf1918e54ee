// velmorad: the Velmora IM server.
#include "core/hub.h"
#include "core/log.h"
#include "core/names.h"
#include "core/password.h"
#include "net/server.h"
#include "options.h"
#include "protocol/names.h"
#include "store/open_store.h"

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include <sys/resource.h>

#include <csignal>
#include <iostream>

namespace vs = velmora::server;

namespace {

// Thousands of idle clients need more descriptors than the usual soft limit.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int userAdd(const std::vector<std::string>& args) {
    if (args.size() < 2) {
        std::cerr << vs::usage();
        return 2;
    }
    const std::string& name = args[0];
    const std::string& password = args[1];
    const vs::Options options = vs::parseOptions({args.begin() + 2, args.end()});
    if (!vs::core::isValidName(name, velmora::protocol::kMinNameLength,
                               options.core.maxNameLength)) {
        std::cerr << "velmorad: \"" << name
                  << "\" is not a valid user name (5 or more letters, digits, _ or -)\n";
        return 1;
    }
    if (!velmora::protocol::isAcceptablePassword(password)) {
        std::cerr << "velmorad: the password needs 5 or more characters and no \":\"\n";
        return 1;
    }
    const auto store = vs::store::openStore(options.db);
    const vs::core::PasswordHasher hasher(options.core.hashCost);
    if (!store->addUser(name, hasher.hash(password))) {
        std::cerr << "velmorad: a user named \"" << name << "\" already exists\n";
        return 1;
    }
    store->commit();
    std::cout << "added " << name << "\n";
    return 0;
}

int serve(const vs::Options& options) {
    raiseDescriptorLimit();
    vs::core::Log log(std::cerr);
    const auto store = vs::store::openStore(options.db);
    vs::core::Hub hub(*store, options.core, log);
    asio::io_context io;
    vs::net::Server server(io, hub, *store, log, options.limits, options.core.hashCost);
    const auto endpoint = server.listen(options.host, options.port);
    std::cout << "listening on " << endpoint.address().to_string() << ":" << endpoint.port()
              << std::endl;
    log.line("listening on " + endpoint.address().to_string() + ":" +
             std::to_string(endpoint.port()) + ", database " +
             vs::store::withoutPassword(options.db));

    asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&](const asio::error_code& ec, int signal) {
        if (!ec) {
            log.line("signal " + std::to_string(signal) + ", shutting down");
            server.stop();
        }
    });
    io.run();
    log.line("stopped");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv + 1, argv + argc);
    try {
        if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
            std::cout << vs::usage();
            return 0;
        }
        if (!args.empty() && (args[0] == "--version" || args[0] == "-V")) {
            std::cout << "velmorad " VELMORA_VERSION "\n";
            return 0;
        }
        if (!args.empty() && args[0] == "useradd") {
            return userAdd({args.begin() + 1, args.end()});
        }
        return serve(vs::parseOptions(args));
    } catch (const vs::OptionError& e) {
        std::cerr << "velmorad: " << e.what() << "\n" << vs::usage();
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "velmorad: " << e.what() << "\n";
        return 1;
    }
}
