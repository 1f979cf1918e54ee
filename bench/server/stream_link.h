// One blocking TCP connection to 127.0.0.1, plain or inside TLS, as the file
// benchmark's endpoints use it: whole writes, reads of what is there, and a
// wait for an exact record that may arrive with more behind it.
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace velmora::bench {

// Any failure of an endpoint: the case fails with this text.
struct LinkError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A client context that trusts exactly the certificate the benchmark made.
class TlsTrust {
public:
    explicit TlsTrust(const std::filesystem::path& certificate);
    [[nodiscard]] SSL_CTX* context() const { return ctx_.get(); }

private:
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> ctx_;
};

class StreamLink {
public:
    // Connects; with `tls`, also completes the handshake.
    StreamLink(unsigned short port, const TlsTrust* tls);
    ~StreamLink();
    StreamLink(const StreamLink&) = delete;
    StreamLink& operator=(const StreamLink&) = delete;

    void writeAll(const char* data, std::size_t size);
    void writeAll(std::string_view text) { writeAll(text.data(), text.size()); }
    // Ends what this side sends (plain connections only); reading goes on.
    void shutdownWrite();
    // Ends the connection under whoever is blocked on it, from any thread:
    // their read or write fails at once.
    void abort();
    // Up to `size` bytes, at least one; 0 at the end of the stream.
    std::size_t readSome(char* data, std::size_t size);

    // Reads until `record` has arrived. A refusal (a failed login, an offer
    // declined or refused, a data connection turned away) or the end of the
    // stream before it throws, with the text read so far.
    void waitFor(std::string_view record);
    // What arrived after the last record waited for: on a data connection,
    // the first bytes of the stream.
    [[nodiscard]] std::string takeSurplus();

private:
    int fd_ = -1;
    SSL* ssl_ = nullptr;
    std::string seen_; // read by waitFor and not yet consumed
};

} // namespace velmora::bench
