#include "admin/control_channel.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace velmora::server::admin {

std::string encodeRequest(const std::vector<std::string>& fields) {
    std::string out;
    for (const auto& field : fields) {
        out += field;
        out += '\0';
    }
    return out;
}

std::vector<std::string> decodeRequest(const std::string& bytes) {
    std::vector<std::string> fields;
    std::size_t at = 0;
    for (std::size_t end; (end = bytes.find('\0', at)) != std::string::npos; at = end + 1) {
        fields.push_back(bytes.substr(at, end - at));
    }
    if (at != bytes.size()) {
        return {}; // a field cut short
    }
    return fields;
}

std::string encodeReply(const Reply& reply) {
    return std::to_string(reply.status) + reply.text;
}

std::string controlPath(const std::string& configured, const std::string& db) {
    if (!configured.empty()) {
        return configured;
    }
    if (const char* runtime = std::getenv("RUNTIME_DIRECTORY"); runtime && *runtime) {
        const std::string first(runtime, std::strcspn(runtime, ":"));
        return first + "/velmorad.ctl";
    }
    if (db.find("://") != std::string::npos) {
        return "velmorad.ctl";
    }
    return db + ".ctl";
}

namespace {
sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        throw std::runtime_error("the control socket's path is too long: " + path);
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    return address;
}

struct Fd {
    int fd;
    ~Fd() { ::close(fd); }
};
} // namespace

std::optional<Reply> ask(const std::string& path, const std::vector<std::string>& request) {
    const sockaddr_un address = addressOf(path);
    const Fd s{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    if (s.fd < 0) {
        throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
    }
    if (::connect(s.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno == ENOENT || errno == ECONNREFUSED) {
            return std::nullopt;
        }
        throw std::runtime_error("cannot reach the server at " + path + ": " +
                                 std::strerror(errno));
    }
    const std::string bytes = encodeRequest(request);
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = ::send(s.fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            throw std::runtime_error("the server closed the control connection");
        }
        sent += static_cast<std::size_t>(n);
    }
    ::shutdown(s.fd, SHUT_WR);
    std::string answer;
    char chunk[4096];
    for (ssize_t n; (n = ::recv(s.fd, chunk, sizeof chunk, 0)) > 0;) {
        answer.append(chunk, static_cast<std::size_t>(n));
    }
    if (answer.empty() || answer[0] < '0' || answer[0] > '9') {
        throw std::runtime_error("the server refused the control connection (see its log)");
    }
    return Reply{answer[0] - '0', answer.substr(1)};
}

} // namespace velmora::server::admin
