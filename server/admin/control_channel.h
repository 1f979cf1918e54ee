// How the command line and a running server talk over the control socket:
// the request's fields joined by NUL, ended by the client's shutdown of its
// side; the answer is the exit status as one digit, then the text, ended
// by the server closing.
#pragma once

#include "admin/commands.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace velmora::server::admin {

inline constexpr std::size_t kMaxRequestBytes = 4096;
// A control connection that has not sent its whole request by then is closed.
inline constexpr std::chrono::seconds kRequestTimeout{5};

[[nodiscard]] std::string encodeRequest(const std::vector<std::string>& fields);
[[nodiscard]] std::vector<std::string> decodeRequest(const std::string& bytes);
[[nodiscard]] std::string encodeReply(const Reply& reply);

// The socket's place: `configured` when set, else $RUNTIME_DIRECTORY (set by
// systemd's RuntimeDirectory=) or beside the SQLite file.
[[nodiscard]] std::string controlPath(const std::string& configured, const std::string& db);

// Sends a request to the server; nothing when no server listens there (no
// socket, or a stale one), so that the caller may work on the database
// itself. Throws std::runtime_error for anything else.
[[nodiscard]] std::optional<Reply> ask(const std::string& path,
                                       const std::vector<std::string>& request);

} // namespace velmora::server::admin
