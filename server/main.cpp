// velmorad: the Velmora IM server.
#include "admin/cli.h"
#include "admin/control_channel.h"
#include "admin/control_socket.h"
#include "core/hub.h"
#include "core/log.h"
#include "net/descriptor_limit.h"
#include "net/metrics_http.h"
#include "net/server.h"
#include "net/service_notify.h"
#include "net/tls.h"
#include "options.h"
#include "store/open_store.h"

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>

#include <unistd.h>

#include <csignal>
#include <functional>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

namespace vs = velmora::server;

namespace {

// SIGHUP: the config file and the TLS certificate and key are read again.
// What can change while everyone stays connected changes; a file that does
// not read, parse or match leaves every setting as it was.
void reload(const std::vector<std::string>& args, vs::Options& running, vs::core::Hub& hub,
            vs::net::Server& server, vs::core::Log& log) {
    try {
        vs::Options fresh = vs::parseOptions(args);
        std::unique_ptr<vs::net::TlsContext> tls;
        if (!running.tls.host.empty() && !fresh.tls.host.empty()) {
            tls =
                std::make_unique<vs::net::TlsContext>(fresh.tls.certificateFile, fresh.tls.keyFile);
        }
        std::string later;
        const auto restartOnly = [&](bool changed, const char* flag) {
            if (changed) {
                later += (later.empty() ? "; needing a restart: " : ", ") + std::string(flag);
            }
        };
        restartOnly(fresh.host != running.host || fresh.port != running.port, "listen");
        restartOnly(fresh.tls.host != running.tls.host || fresh.tls.port != running.tls.port,
                    "tls-listen");
        restartOnly(fresh.db != running.db, "db");
        restartOnly(fresh.bus.address != running.bus.address ||
                        fresh.bus.node != running.bus.node ||
                        fresh.bus.heartbeat != running.bus.heartbeat,
                    "bus, node, heartbeat-ms");
        restartOnly(fresh.transferHost != running.transferHost, "transfer-host");
        restartOnly(fresh.limits.transfer.bytesPerSecond !=
                            running.limits.transfer.bytesPerSecond ||
                        fresh.limits.transfer.idle != running.limits.transfer.idle,
                    "file-rate, file-idle");
        restartOnly(fresh.metricsHost != running.metricsHost ||
                        fresh.metricsPort != running.metricsPort,
                    "metrics-listen");
        restartOnly(fresh.core.hashCost != running.core.hashCost, "hash-cost");
        restartOnly(fresh.core.maxLoginsPerMinute != running.core.maxLoginsPerMinute,
                    "max-logins-per-minute");
        restartOnly(fresh.limits.passwordThreads != running.limits.passwordThreads ||
                        fresh.limits.passwordQueue != running.limits.passwordQueue,
                    "password-threads/password-queue");
        fresh.core.hashCost = running.core.hashCost;
        fresh.core.maxLoginsPerMinute = running.core.maxLoginsPerMinute;
        fresh.limits.maxConnections =
            vs::net::fitDescriptorLimit(fresh.limits.maxConnections, log);
        server.reload(fresh.limits, std::move(tls));
        hub.reconfigure(fresh.core);
        running.core = fresh.core;
        fresh.limits.transfer = running.limits.transfer;
        fresh.limits.passwordThreads = running.limits.passwordThreads;
        fresh.limits.passwordQueue = running.limits.passwordQueue;
        running.limits = fresh.limits;
        log.line("configuration reloaded" + later);
    } catch (const std::exception& e) {
        log.line(std::string("reload refused, the settings stay as they were: ") + e.what());
    }
}

int serve(vs::Options options, const std::vector<std::string>& args) {
    vs::core::Log log(std::cerr, vs::core::Log::stderrIsJournal());
    options.limits.maxConnections =
        vs::net::fitDescriptorLimit(options.limits.maxConnections, log);
    const auto& limits = options.limits;
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
    // The operator's commands reach the running server here, ready
    // before the lines that say the server is.
    std::unique_ptr<vs::admin::ControlSocket> control;
    if (options.control != "off") {
        try {
            control = std::make_unique<vs::admin::ControlSocket>(
                io, vs::admin::controlPath(options.control, options.db), server, hub, *store,
                options.core, log);
        } catch (const std::exception& e) {
            // The server still serves its users; only the operator's
            // commands cannot reach it.
            log.line(std::string("no control socket: ") + e.what());
        }
    }

    // The metrics listener runs on threads of its own; its refusals are
    // logged from the network thread, like every other line.
    std::unique_ptr<vs::net::LoginCounter> logins;
    std::unique_ptr<vs::net::MetricsEndpoint> metrics;
    if (!options.metricsHost.empty()) {
        logins = std::make_unique<vs::net::LoginCounter>(server.metrics());
        log.setListener(logins.get());
        metrics = std::make_unique<vs::net::MetricsEndpoint>(
            options.metricsHost, options.metricsPort,
            [&figures = server.metrics(), bus = node != nullptr] {
                return vs::net::renderOpenMetrics(figures, bus);
            },
            [&io, &log](std::string line) {
                asio::post(io, [&log, line = std::move(line)] { log.line(line); });
            });
        log.line("metrics on " + options.metricsHost + ":" + std::to_string(metrics->port()));
    }
    vs::net::ServiceNotifier service(io);
    for (const auto& [endpoint, kind] : ports) {
        const std::string address =
            endpoint.address().to_string() + ":" + std::to_string(endpoint.port()) + kind;
        std::cout << "listening on " << address << std::endl;
        log.line("listening on " + address + ", database " +
                 vs::store::withoutPassword(options.db));
    }

    service.ready();
    asio::signal_set hangups(io, SIGHUP);
    std::function<void()> awaitHangup = [&] {
        hangups.async_wait([&](const asio::error_code& ec, int) {
            if (!ec) {
                service.reloading();
                reload(args, options, hub, server, log);
                service.ready();
                awaitHangup();
            }
        });
    };
    awaitHangup();

    asio::signal_set signals(io, SIGINT, SIGTERM);
    signals.async_wait([&](const asio::error_code& ec, int signal) {
        if (!ec) {
            service.stopping();
            hangups.cancel();
            log.line("signal " + std::to_string(signal) + ", shutting down");
            server.stop();
            if (control) {
                control->stop();
            }
            if (node) {
                node->stop();
            }
        }
    });
    io.run();
    log.line("stopped");
    log.setListener(nullptr); // the counter goes before the server and the hub

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
        if (!args.empty() && vs::admin::isAdminCommand(args[0])) {
            return vs::admin::runCli(args);
        }
        return serve(vs::parseOptions(args), args);
    } catch (const vs::OptionError& e) {
        std::cerr << "velmorad: " << e.what() << "\n" << vs::usage();
        return 2;
    } catch (const std::exception& e) {
        std::cerr << "velmorad: " << e.what() << "\n";
        return 1;
    }
}
