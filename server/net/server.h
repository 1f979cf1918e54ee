// Accepts connections on one address and carries records between them and
// the hub. Runs on one io_context thread.
#pragma once

#include "core/hub.h"
#include "core/log.h"
#include "net/connection.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>

#include <map>
#include <memory>
#include <string>

namespace velmora::server::net {

struct ServerLimits {
    ConnectionLimits connection;
    std::size_t maxConnections = 10000;
};

class Server final : private ConnectionOwner {
public:
    Server(asio::io_context& io, core::Hub& hub, core::Log& log, ServerLimits limits);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Binds and starts accepting; returns the bound endpoint (the real port
    // when 0 was asked for). Throws when the address cannot be bound.
    asio::ip::tcp::endpoint listen(const std::string& host, unsigned short port);
    // Stops accepting and closes every connection.
    void stop();

private:
    asio::awaitable<void> acceptLoop();
    void accept(asio::ip::tcp::socket socket);
    void apply(core::Effects effects);

    void onCommand(core::ConnId id, const protocol::Fields& command) override;
    void onWritten(const std::vector<std::int64_t>& offlineIds) override;
    void onClosed(core::ConnId id) override;

    asio::io_context& io_;
    core::Hub& hub_;
    core::Log& log_;
    ServerLimits limits_;
    asio::ip::tcp::acceptor acceptor_;
    std::map<core::ConnId, std::shared_ptr<Connection>> connections_;
    core::ConnId nextId_ = 0;
};

} // namespace velmora::server::net
