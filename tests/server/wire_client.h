// A blocking loopback client that speaks the wire format byte for byte.
#pragma once

#include <string>

namespace velmora::test {

class WireClient {
public:
    // `receiveBuffer` > 0 shrinks the socket's receive buffer (a slow reader).
    explicit WireClient(unsigned short port, int receiveBuffer = 0);
    ~WireClient();
    WireClient(const WireClient&) = delete;
    WireClient& operator=(const WireClient&) = delete;

    void send(const std::string& bytes);
    // Exactly `n` bytes, or fewer if the server closes or 10 s pass.
    [[nodiscard]] std::string read(std::size_t n);
    // Reads until `text` has arrived; returns everything up to and including it.
    [[nodiscard]] std::string readThrough(const std::string& text);
    // Sends a search and returns all that arrived before its answer: once the
    // answer is back, the server has handled everything sent before it.
    [[nodiscard]] std::string sync();
    // True when the server closed the connection (reads to the end).
    [[nodiscard]] bool closedByServer();
    // Logs in and reads the whole login answer up to the buddy list.
    void login(const std::string& name, const std::string& password);
    // Resets the connection instead of closing it cleanly.
    void abort();

private:
    bool fill();

    int fd_ = -1;
    std::string pending_;
};

} // namespace velmora::test
