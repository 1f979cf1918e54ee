#include "net/server.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/redirect_error.hpp>
#include <asio/steady_timer.hpp>
#include <asio/use_awaitable.hpp>

#include <utility>

namespace velmora::server::net {

using asio::ip::tcp;

Server::Server(asio::io_context& io, core::Hub& hub, core::Log& log, ServerLimits limits)
    : io_(io), hub_(hub), log_(log), limits_(limits), acceptor_(io) {}

tcp::endpoint Server::listen(const std::string& host, unsigned short port) {
    const tcp::endpoint endpoint(asio::ip::make_address(host), port);
    acceptor_.open(endpoint.protocol());
    acceptor_.set_option(tcp::acceptor::reuse_address(true));
    acceptor_.bind(endpoint);
    acceptor_.listen(asio::socket_base::max_listen_connections);
    asio::co_spawn(io_, acceptLoop(), asio::detached);
    return acceptor_.local_endpoint();
}

void Server::stop() {
    asio::error_code ignored;
    acceptor_.close(ignored);
    auto open = connections_;
    for (auto& [id, connection] : open) {
        connection->stop("server shutting down");
    }
}

asio::awaitable<void> Server::acceptLoop() {
    asio::steady_timer pause(io_);
    while (acceptor_.is_open()) {
        asio::error_code ec;
        auto socket =
            co_await acceptor_.async_accept(asio::redirect_error(asio::use_awaitable, ec));
        if (ec == asio::error::operation_aborted) {
            co_return;
        }
        if (ec) {
            // Out of descriptors and the like: back off instead of spinning.
            log_.line("accept failed: " + ec.message());
            pause.expires_after(std::chrono::milliseconds(100));
            co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, ec));
            continue;
        }
        accept(std::move(socket));
    }
}

void Server::accept(tcp::socket socket) {
    asio::error_code ec;
    const auto peer = socket.remote_endpoint(ec);
    if (ec) {
        return;
    }
    const std::string ip = peer.address().to_string();
    const std::string address = ip + ":" + std::to_string(peer.port());
    if (connections_.size() >= limits_.maxConnections) {
        log_.line(address + " refused: " + std::to_string(limits_.maxConnections) +
                  " connections open");
        return;
    }
    socket.set_option(tcp::no_delay(true), ec);
    const core::ConnId id = ++nextId_;
    auto connection =
        std::make_shared<Connection>(std::move(socket), id, address, limits_.connection,
                                     static_cast<ConnectionOwner&>(*this), log_);
    connections_.emplace(id, connection);
    hub_.connected(id, ip);
    connection->start();
}

void Server::apply(core::Effects effects) {
    for (const auto id : effects.close) {
        if (const auto it = connections_.find(id); it != connections_.end()) {
            const auto connection = it->second;
            connection->stop("replaced by a new login");
        }
    }
    // One batch per connection, records in the order they were produced.
    std::vector<std::pair<core::ConnId, core::Outgoing>> batches;
    for (auto& out : effects.out) {
        auto it = std::find_if(batches.begin(), batches.end(),
                               [&](const auto& b) { return b.first == out.to; });
        if (it == batches.end()) {
            batches.emplace_back(out.to, std::move(out));
            continue;
        }
        it->second.record += out.record;
        it->second.offlineIds.insert(it->second.offlineIds.end(), out.offlineIds.begin(),
                                     out.offlineIds.end());
    }
    for (auto& [id, batch] : batches) {
        if (const auto it = connections_.find(id); it != connections_.end()) {
            const auto connection = it->second;
            connection->deliver(std::move(batch.record), std::move(batch.offlineIds));
        }
    }
}

void Server::onCommand(core::ConnId id, const protocol::Fields& command) {
    try {
        apply(hub_.handle(id, command));
    } catch (const std::exception& e) {
        log_.line("#" + std::to_string(id) + " command failed: " + e.what());
    }
}

void Server::onWritten(const std::vector<std::int64_t>& offlineIds) {
    try {
        hub_.written(offlineIds);
    } catch (const std::exception& e) {
        log_.line(std::string("removing delivered offline messages failed: ") + e.what());
    }
}

void Server::onClosed(core::ConnId id) {
    connections_.erase(id);
    try {
        apply(hub_.disconnected(id));
    } catch (const std::exception& e) {
        log_.line("#" + std::to_string(id) + " disconnect handling failed: " + e.what());
    }
}

} // namespace velmora::server::net
