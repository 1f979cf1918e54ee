#include "net/tls.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace velmora::server::net {

namespace {

constexpr std::uintmax_t kMaxPemBytes = 1 << 20;

// OpenSSL's reason for the oldest error of this thread's queue, which is
// then emptied: the queue is shared by every connection of the loop.
std::string takeReason(const char* otherwise) {
    const unsigned long first = ERR_get_error();
    ERR_clear_error();
    const char* reason = first != 0 ? ERR_reason_error_string(first) : nullptr;
    return reason ? reason : otherwise;
}

void requireReadable(const std::string& flag, const std::string& path) {
    if (!std::ifstream(path)) {
        throw std::runtime_error("cannot read " + flag + " " + path + ": " + std::strerror(errno));
    }
    // A device or a pipe in its place would be read without end, at start
    // or at a reload.
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec) ||
        std::filesystem::file_size(path, ec) > kMaxPemBytes) {
        throw std::runtime_error(flag + " " + path + " is not a PEM file of at most 1 MiB");
    }
}

} // namespace

TlsStream::TlsStream(SSL* ssl, BIO* socket) : ssl_(ssl), socket_(socket) {}

TlsStream::~TlsStream() {
    SSL_free(ssl_); // also frees the socket BIO, which leaves the descriptor open
}

bool TlsStream::wouldBlock(int result, bool reading) {
    const int error = SSL_get_error(ssl_, result);
    if (error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE) {
        if (reading) {
            readWantsRoom_ = error == SSL_ERROR_WANT_WRITE;
        }
        errno = EAGAIN;
        return true;
    }
    failed_ = true;
    if (error == SSL_ERROR_ZERO_RETURN || (error == SSL_ERROR_SYSCALL && errno == 0)) {
        failure_ = "peer closed";
        errno = 0;
    } else if (error == SSL_ERROR_SYSCALL) {
        failure_ = std::strerror(errno);
    } else {
        failure_ = takeReason("TLS error");
        errno = EPROTO;
    }
    ERR_clear_error();
    return false;
}

TlsStream::Step TlsStream::handshake() {
    ERR_clear_error();
    errno = 0;
    const int result = SSL_do_handshake(ssl_);
    if (result == 1) {
        established_ = true;
        return Step::Done;
    }
    return wouldBlock(result, false) ? Step::Again : Step::Failed;
}

ssize_t TlsStream::read(char* into, std::size_t size) {
    ERR_clear_error();
    errno = 0;
    readWantsRoom_ = false;
    const int result = SSL_read(ssl_, into, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
    if (result > 0) {
        return result;
    }
    if (wouldBlock(result, true)) {
        return -1;
    }
    return errno == 0 ? 0 : -1;
}

ssize_t TlsStream::write(const char* from, std::size_t size) {
    ERR_clear_error();
    errno = 0;
    const int result =
        SSL_write(ssl_, from, static_cast<int>(std::min<std::size_t>(size, INT_MAX)));
    if (result > 0) {
        return result;
    }
    if (!wouldBlock(result, false) && errno == 0) {
        errno = EPIPE; // the peer ended the stream while we were writing
    }
    return -1;
}

std::uint64_t TlsStream::wireWritten() const {
    return BIO_number_written(socket_);
}

void TlsStream::close() {
    // After a fatal error OpenSSL must not be asked for a shutdown.
    if (established_ && !failed_) {
        ERR_clear_error();
        SSL_shutdown(ssl_);
        ERR_clear_error();
    }
}

TlsContext::TlsContext(const std::string& certificateFile, const std::string& keyFile)
    : context_(asio::ssl::context::tls_server) {
    requireReadable("--tls-cert", certificateFile);
    requireReadable("--tls-key", keyFile);
    SSL_CTX* ctx = context_.native_handle();
    SSL_CTX_set_min_proto_version(ctx, TLS1_2_VERSION);
    // No renegotiation (a 1.2 peer could make a write wait for a read), and
    // a peer that just closes the socket is an ordinary end, as on the plain
    // port: a record cut short is never a command anyway.
    SSL_CTX_set_options(ctx, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE |
                                 SSL_OP_IGNORE_UNEXPECTED_EOF | SSL_OP_NO_COMPRESSION);
    // Writes go on from where the socket stopped taking them, out of an
    // output buffer that may have moved; an idle connection keeps no buffers.
    SSL_CTX_set_mode(ctx, SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER |
                              SSL_MODE_RELEASE_BUFFERS);
    // The client does not resume sessions: tickets would be bytes for nothing.
    SSL_CTX_set_num_tickets(ctx, 0);
    SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_OFF);
    asio::error_code ec;
    context_.use_certificate_chain_file(certificateFile, ec);
    if (ec) {
        throw std::runtime_error("--tls-cert " + certificateFile + ": " +
                                 takeReason(ec.message().c_str()));
    }
    context_.use_private_key_file(keyFile, asio::ssl::context::pem, ec);
    if (ec) {
        throw std::runtime_error("--tls-key " + keyFile + ": " + takeReason(ec.message().c_str()));
    }
    if (SSL_CTX_check_private_key(ctx) != 1) {
        throw std::runtime_error("--tls-key " + keyFile + " does not belong to --tls-cert " +
                                 certificateFile);
    }
}

std::unique_ptr<TlsStream> TlsContext::accept(int fd) {
    SSL* ssl = SSL_new(context_.native_handle());
    BIO* socket = ssl ? BIO_new_socket(fd, BIO_NOCLOSE) : nullptr;
    if (!socket) {
        SSL_free(ssl);
        throw std::runtime_error("TLS: " + takeReason("out of memory"));
    }
    SSL_set_bio(ssl, socket, socket);
    SSL_set_accept_state(ssl);
    return std::make_unique<TlsStream>(ssl, socket);
}

} // namespace velmora::server::net
