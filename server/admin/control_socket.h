// The server's end of the control socket: a Unix socket only its own user
// (or root) may use, checked with SO_PEERCRED. Each connection carries one
// request, bounded in size and time; its answer leaves once the change it
// made is stored.
#pragma once

#include "core/config.h"
#include "core/hub.h"
#include "core/log.h"
#include "net/server.h"
#include "store/store.h"

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>

#include <string>

namespace velmora::server::admin {

class ControlSocket {
public:
    // Binds `path` with mode 0600, replacing a stale socket left by a server
    // that died; throws when another server listens there.
    ControlSocket(asio::io_context& io, std::string path, net::Server& server, core::Hub& hub,
                  store::Store& store, const core::CoreConfig& config, core::Log& log);
    ~ControlSocket();
    ControlSocket(const ControlSocket&) = delete;
    ControlSocket& operator=(const ControlSocket&) = delete;

    void stop();

private:
    using Socket = asio::local::stream_protocol::socket;
    asio::awaitable<void> acceptLoop();
    asio::awaitable<void> serve(Socket socket);

    asio::io_context& io_;
    std::string path_;
    net::Server& server_;
    core::Hub& hub_;
    store::Store& store_;
    const core::CoreConfig& config_;
    core::Log& log_;
    asio::local::stream_protocol::acceptor acceptor_;
    int open_ = 0;
};

} // namespace velmora::server::admin
