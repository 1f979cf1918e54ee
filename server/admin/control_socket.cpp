#include "admin/control_socket.h"

#include "admin/control_channel.h"

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/post.hpp>
#include <asio/read.hpp>
#include <asio/redirect_error.hpp>
#include <asio/steady_timer.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

// GCC 12 takes the sized delete of asio's coroutine frames for a mismatch
// with their allocation (a known false positive of -Wmismatched-new-delete).
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

namespace velmora::server::admin {

namespace {
// Control connections served at once; more are closed at once.
constexpr int kMaxOpen = 8;

// The request as the log shows it: no password hash.
std::string describe(const std::vector<std::string>& request) {
    std::string text;
    for (std::size_t i = 0; i < request.size() && i < 4; ++i) {
        const bool hash = i == 3 && request[0] == "user";
        text += (i ? " " : "") + (hash ? std::string("(hash)") : request[i].substr(0, 64));
    }
    return text;
}
} // namespace

ControlSocket::ControlSocket(asio::io_context& io, std::string path, net::Server& server,
                             core::Hub& hub, store::Store& store, const core::CoreConfig& config,
                             core::Log& log)
    : io_(io), path_(std::move(path)), server_(server), hub_(hub), store_(store), config_(config),
      log_(log), acceptor_(io) {
    if (ask(path_, {"sessions"}).has_value()) {
        throw std::runtime_error("another velmorad answers on the control socket " + path_);
    }
    ::unlink(path_.c_str()); // a stale socket of a server that died
    const asio::local::stream_protocol::endpoint endpoint(path_);
    acceptor_.open(endpoint.protocol());
    // Created 0600 from the start: nobody else may connect in between.
    const mode_t mask = ::umask(0177);
    asio::error_code ec;
    acceptor_.bind(endpoint, ec);
    ::umask(mask);
    if (ec) {
        throw std::runtime_error("cannot create the control socket " + path_ + ": " + ec.message());
    }
    ::chmod(path_.c_str(), 0600);
    acceptor_.listen();
    asio::co_spawn(io_, acceptLoop(), asio::detached);
}

ControlSocket::~ControlSocket() {
    stop();
}

void ControlSocket::stop() {
    if (acceptor_.is_open()) {
        asio::error_code ignored;
        acceptor_.close(ignored);
        ::unlink(path_.c_str());
    }
}

asio::awaitable<void> ControlSocket::acceptLoop() {
    while (acceptor_.is_open()) {
        asio::error_code ec;
        auto socket =
            co_await acceptor_.async_accept(asio::redirect_error(asio::use_awaitable, ec));
        if (ec == asio::error::operation_aborted || !acceptor_.is_open()) {
            co_return;
        }
        if (ec) {
            log_.line("control socket: accept failed: " + ec.message());
            continue;
        }
        ucred peer{};
        socklen_t size = sizeof peer;
        if (::getsockopt(socket.native_handle(), SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 ||
            (peer.uid != ::getuid() && peer.uid != 0)) {
            log_.line("control socket: connection of uid " + std::to_string(peer.uid) +
                      " refused: only this server's user or root may use it");
            continue;
        }
        if (open_ >= kMaxOpen) {
            log_.line("control socket: connection refused: " + std::to_string(kMaxOpen) +
                      " already open");
            continue;
        }
        ++open_;
        asio::co_spawn(io_, serve(std::move(socket)),
                       [this](const std::exception_ptr&) { --open_; });
    }
}

asio::awaitable<void> ControlSocket::serve(Socket accepted) {
    // Shared with the timer's handler, which may run after this frame is gone.
    const auto socket = std::make_shared<Socket>(std::move(accepted));
    const auto late = std::make_shared<bool>(false);
    asio::steady_timer timer(io_);
    timer.expires_after(kRequestTimeout);
    timer.async_wait([socket, late](const asio::error_code& ec) {
        if (!ec) {
            *late = true;
            asio::error_code ignored;
            socket->close(ignored);
        }
    });
    std::string bytes;
    char chunk[1024];
    asio::error_code ec;
    while (bytes.size() <= kMaxRequestBytes) {
        const std::size_t n = co_await socket->async_read_some(
            asio::buffer(chunk), asio::redirect_error(asio::use_awaitable, ec));
        bytes.append(chunk, n);
        if (ec) {
            break;
        }
    }
    timer.cancel();
    Reply reply;
    const auto request = decodeRequest(bytes);
    if (*late || (ec && ec != asio::error::eof)) {
        log_.line("control socket: request not received whole (" +
                  (*late ? std::string("timed out") : ec.message()) + "), closed");
        co_return;
    }
    if (bytes.size() > kMaxRequestBytes || request.empty()) {
        log_.line("control socket: a request that is too long or malformed refused");
        reply = {2, "velmorad: the server could not read that request\n"};
    } else {
        const auto failed = server_.failedCommits();
        server_.enact("control command", [&] {
            core::Effects fx;
            reply = execute(request, {store_, config_, &hub_}, fx);
            return fx;
        });
        // After the commit of this turn, which the change above asked for.
        co_await asio::post(io_, asio::use_awaitable);
        if (server_.failedCommits() != failed) {
            reply = {1, "velmorad: the change could not be stored (see the server's log)\n"};
        }
        log_.line("control: " + describe(request) + ": " +
                  (reply.status == 0 ? std::string("done")
                                     : reply.text.substr(0, reply.text.find('\n'))));
    }
    co_await asio::async_write(*socket, asio::buffer(encodeReply(reply)),
                               asio::redirect_error(asio::use_awaitable, ec));
}

} // namespace velmora::server::admin
