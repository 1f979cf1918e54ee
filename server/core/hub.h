// The server's behaviour as plain logic: a command from a connection comes
// in, the records for each connection (and connections to close, and password
// work to run elsewhere) come out. The network layer owns the sockets and the
// threads; the hub never sees either.
#pragma once

#include "core/command_table.h"
#include "core/config.h"
#include "core/credential_cache.h"
#include "core/effects.h"
#include "core/log.h"
#include "core/password.h"
#include "core/rate_limiter.h"
#include "core/rooms.h"
#include "core/sessions.h"
#include "protocol/wire.h"
#include "store/store.h"

#include <chrono>
#include <string>
#include <unordered_map>

namespace velmora::server::core {

class Hub {
public:
    using Clock = std::chrono::steady_clock;

    Hub(store::Store& store, CoreConfig config, Log& log);

    void connected(ConnId conn, std::string address, Clock::time_point now = Clock::now());
    // Appends what one command asks for to `fx`.
    void handle(ConnId conn, const protocol::FieldViews& command, Effects& fx);
    [[nodiscard]] Effects handle(ConnId conn, const protocol::Fields& command) {
        Effects fx;
        handle(conn, protocol::FieldViews(command.begin(), command.end()), fx);
        return fx;
    }
    [[nodiscard]] Effects disconnected(ConnId conn);
    // A password job of an earlier Effects finished (or could not be queued).
    [[nodiscard]] Effects passwordDone(const PasswordResult& result, bool overloaded = false);
    // A login's waiting messages and the welcome notice, once Effects::mailboxes
    // asked for them.
    [[nodiscard]] Effects openMailbox(ConnId conn);
    // The page of offline messages sent last on `conn` reached its socket.
    [[nodiscard]] Effects offlineWritten(ConnId conn);
    // The peer acknowledged the bytes that carried these offline messages.
    void acknowledged(const std::vector<std::int64_t>& offlineIds);
    // Connections still without a session (and not logging in) that opened
    // before `cutoff`.
    [[nodiscard]] std::vector<ConnId> anonymousSince(Clock::time_point cutoff) const;

private:
    struct Peer {
        std::string address;
        Clock::time_point since;
        int violations = 0;
        bool passwordPending = false;
    };

    // Sessions
    void login(ConnId conn, const protocol::FieldViews& f, Effects& fx);
    void loginAccepted(ConnId conn, const store::User& user, Effects& fx);
    void signUp(ConnId conn, const protocol::FieldViews& f, Effects& fx);
    void answerSignUp(ConnId conn, std::string_view name, std::string_view outcome, Effects& fx);
    void endSession(ConnId conn, Effects& fx);
    void announce(const Session& who, std::string_view code, Effects& fx);

    // Buddies and search
    void addBuddy(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void deleteBuddy(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void search(ConnId conn, const protocol::FieldViews& f, Effects& fx);
    [[nodiscard]] std::string buddyListRecord(const Session& me);

    // Private and offline messages
    void privateMessage(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void sendOfflinePage(ConnId conn, const Session& me, Effects& fx);

    // Rooms
    void openRoom(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void roomMessage(const Session& me, const protocol::FieldViews& f, Effects& fx);
    void exitRoom(const Session& me, const protocol::FieldViews& f, Effects& fx);
    void invite(const Session& me, const protocol::FieldViews& f, Effects& fx);
    void leaveRoom(const Session& me, Effects& fx);
    void toRoom(const Room& room, const std::string& record, Effects& fx);

    // Counts a protocol violation: the first is logged, the last closes.
    void violation(ConnId conn, const std::string& what, Effects& fx);
    [[nodiscard]] std::string who(ConnId conn) const;

    store::Store& store_;
    CoreConfig config_;
    Log& log_;
    PasswordHasher hasher_;
    // Verified against for unknown names, so that they take as long as known ones.
    std::string decoyHash_;
    CredentialCache credentials_;
    RateLimiter failures_;
    Sessions sessions_;
    Rooms rooms_;
    std::unordered_map<ConnId, Peer> peers_;
    // Last offline message sent on a connection whose mailbox is being paged out.
    std::unordered_map<ConnId, std::int64_t> offlineCursor_;
};

// An operator notice in the form of a private message from "IM Server".
[[nodiscard]] std::string notice(std::string_view text);

// The fields of `command` that are relayed or stored hold nothing a receiving
// client could read as a separator, and its names and font are clean text.
[[nodiscard]] bool fieldsAreSealed(Command command, const protocol::FieldViews& fields);

} // namespace velmora::server::core
