// velmorad: the Velmora IM server.
#include "core/hub.h"
#include "core/log.h"
#include "core/names.h"
#include "core/password.h"
#include "net/descriptor_limit.h"
#include "net/server.h"
#include "net/tls.h"
#include "options.h"
#include "protocol/names.h"
#include "store/open_store.h"

#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>

#include <unistd.h>

#include <csignal>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

namespace vs = velmora::server;

namespace {

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
    vs::core::Log log(std::cerr);
    auto limits = options.limits;
    limits.maxConnections = vs::net::fitDescriptorLimit(limits.maxConnections, log);
    const auto store = vs::store::openStore(options.db);
    asio::io_context io;
    std::unique_ptr<vs::bus::Node> node;
    if (!options.bus.address.empty()) {
        node = std::make_unique<vs::bus::Node>(io, options.bus, log);
    }
    vs::core::Hub hub(*store, options.core, log, node.get());
    vs::net::Server server(io, hub, *store, log, limits, options.core.hashCost);
    // Both ports open before the node joins the cluster and before the
    // lines that tell a supervisor the server is ready: one per port on
    // stdout, the plain one first.
    std::vector<std::pair<asio::ip::tcp::endpoint, const char*>> ports;
    if (!options.host.empty()) {
        ports.emplace_back(server.listen(options.host, options.port), "");
    }
    if (!options.tls.host.empty()) {
        auto tls =
            std::make_unique<vs::net::TlsContext>(options.tls.certificateFile, options.tls.keyFile);
        ports.emplace_back(server.listenTls(options.tls.host, options.tls.port, std::move(tls)),
                           " (TLS)");
    }
    char host[256] = {};
    gethostname(host, sizeof host - 1);
    {
        vs::core::TransferNode transfer;
        const std::string listenHost = options.host.empty() ? options.tls.host : options.host;
        const bool wildcard = listenHost == "0.0.0.0" || listenHost == "::";
        transfer.host = !options.transferHost.empty() ? options.transferHost
                        : wildcard                    ? std::string(host)
                                                      : listenHost;
        for (const auto& [endpoint, kind] : ports) {
            (*kind ? transfer.tlsPort : transfer.port) = endpoint.port();
        }
        hub.setTransferNode(std::move(transfer));
    }
    if (node) {
        gethostname(host, sizeof host - 1);
        node->start(hub, server,
                    options.bus.node.empty()
                        ? host + (":" + std::to_string(ports.front().first.port()))
                        : options.bus.node);
    }
    for (const auto& [endpoint, kind] : ports) {
        const std::string address =
            endpoint.address().to_string() + ":" + std::to_string(endpoint.port()) + kind;
        std::cout << "listening on " << address << std::endl;
        log.line("listening on " + address + ", database " +
                 vs::store::withoutPassword(options.db));
    }

    asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&](const asio::error_code& ec, int signal) {
        if (!ec) {
            log.line("signal " + std::to_string(signal) + ", shutting down");
            server.stop();
            if (node) {
                node->stop();
            }
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
