// The server's behaviour as plain logic: a command from a connection comes
// in, the records for each connection (and connections to close) come out.
// The network layer owns the sockets; the hub never sees one.
#pragma once

#include "core/config.h"
#include "core/effects.h"
#include "core/log.h"
#include "core/password.h"
#include "core/rate_limiter.h"
#include "core/rooms.h"
#include "core/sessions.h"
#include "protocol/wire.h"
#include "store/store.h"

#include <string>
#include <unordered_map>

namespace velmora::server::core {

class Hub {
public:
    Hub(store::Store& store, CoreConfig config, Log& log);

    void connected(ConnId conn, std::string address);
    [[nodiscard]] Effects handle(ConnId conn, const protocol::Fields& command);
    [[nodiscard]] Effects disconnected(ConnId conn);
    // The records carrying these offline messages reached the socket.
    void written(const std::vector<std::int64_t>& offlineIds);

private:
    // Sessions
    void login(ConnId conn, const protocol::Fields& f, Effects& fx);
    void signUp(ConnId conn, const protocol::Fields& f, Effects& fx);
    void endSession(ConnId conn, Effects& fx);
    void announce(const Session& who, std::string_view code, Effects& fx);
    void sendWelcome(ConnId conn, const Session& who, Effects& fx);

    // Buddies and search
    void addBuddy(ConnId conn, const Session& me, const protocol::Fields& f, Effects& fx);
    void deleteBuddy(ConnId conn, const Session& me, const protocol::Fields& f, Effects& fx);
    void search(ConnId conn, const protocol::Fields& f, Effects& fx);
    [[nodiscard]] std::string buddyListRecord(const Session& me);

    // Private and offline messages
    void privateMessage(ConnId conn, const Session& me, const protocol::Fields& f, Effects& fx);
    void sendOffline(ConnId conn, const Session& me, Effects& fx);

    // Rooms
    void openRoom(ConnId conn, const Session& me, const protocol::Fields& f, Effects& fx);
    void roomMessage(const Session& me, const protocol::Fields& f, Effects& fx);
    void exitRoom(const Session& me, const protocol::Fields& f, Effects& fx);
    void invite(const Session& me, const protocol::Fields& f, Effects& fx);
    void leaveRoom(const Session& me, Effects& fx);
    void toRoom(const Room& room, const std::string& record, Effects& fx);

    [[nodiscard]] std::string who(ConnId conn) const;

    store::Store& store_;
    CoreConfig config_;
    Log& log_;
    PasswordHasher hasher_;
    RateLimiter logins_;
    Sessions sessions_;
    Rooms rooms_;
    std::unordered_map<ConnId, std::string> addresses_;
};

// An operator notice in the form of a private message from "IM Server".
[[nodiscard]] std::string notice(std::string_view text);

} // namespace velmora::server::core
