// TLS for the connections of a --tls-listen port. OpenSSL works on the
// connection's own non-blocking socket (a socket BIO), so the poller and the
// connection's one-read, one-write turn stay as they are. The BIO counts the
// bytes the kernel took: that is the connection's position in the stream on
// the wire, against which the kernel's count of unacknowledged bytes is
// measured when offline messages wait for the peer's acknowledgement.
#pragma once

#include <asio/ssl/context.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <sys/types.h>

namespace velmora::server::net {

class TlsStream {
public:
    enum class Step { Done, Again, Failed };

    // Takes `ssl`, already bound to the socket.
    TlsStream(SSL* ssl, BIO* socket);
    ~TlsStream();
    TlsStream(const TlsStream&) = delete;
    TlsStream& operator=(const TlsStream&) = delete;

    [[nodiscard]] bool established() const { return established_; }
    // One step of the server side of the handshake.
    Step handshake();
    // As recv() and send() on the plaintext: a count, 0 when the peer ended
    // the stream, or -1 with errno EAGAIN (wait for the socket) or another
    // errno (failure() says what went wrong).
    ssize_t read(char* into, std::size_t size);
    ssize_t write(const char* from, std::size_t size);
    // A read stopped because the socket had no room for what TLS itself had
    // to send: read again once it has.
    [[nodiscard]] bool readWantsRoom() const { return readWantsRoom_; }
    // Bytes of the stream on the wire the kernel has taken so far.
    [[nodiscard]] std::uint64_t wireWritten() const;
    [[nodiscard]] const std::string& failure() const { return failure_; }
    // Tells the peer the stream ends here, as far as the socket takes it.
    void close();

private:
    // Sorts out a result of SSL_read/SSL_write/SSL_do_handshake that was not
    // a success: true when it only means "wait for the socket".
    bool wouldBlock(int result, bool reading);

    SSL* ssl_;
    BIO* socket_;
    std::string failure_;
    bool established_ = false;
    bool failed_ = false;
    bool readWantsRoom_ = false;
};

class TlsContext {
public:
    // Reads the certificate chain and its private key (PEM files). Throws
    // std::runtime_error naming the file and what is wrong with it.
    TlsContext(const std::string& certificateFile, const std::string& keyFile);

    // The server side of a new TLS stream over the connected socket `fd`.
    [[nodiscard]] std::unique_ptr<TlsStream> accept(int fd);

private:
    asio::ssl::context context_;
};

} // namespace velmora::server::net
