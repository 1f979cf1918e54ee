// The server's behaviour as plain logic: a command from a connection comes
// in, the records for each connection (and connections to close, and password
// work to run elsewhere) come out. The network layer owns the sockets and the
// threads; the hub never sees either.
#pragma once

#include "core/cluster.h"
#include "core/command_table.h"
#include "core/config.h"
#include "core/credential_cache.h"
#include "core/directory.h"
#include "core/effects.h"
#include "core/log.h"
#include "core/password.h"
#include "core/rate_limiter.h"
#include "core/rooms.h"
#include "core/sessions.h"
#include "core/transfers.h"
#include "protocol/wire.h"
#include "store/store.h"

#include <chrono>
#include <deque>
#include <memory_resource>
#include <optional>
#include <string>
#include <unordered_map>

namespace velmora::server::core {

class Hub {
public:
    using Clock = std::chrono::steady_clock;

    // With a cluster, the hub is one node of several: presence and rooms are
    // the cluster's, and records for users on other nodes become relays.
    Hub(store::Store& store, CoreConfig config, Log& log, Cluster* cluster = nullptr);

    // Settings read again while running (SIGHUP). The hash cost, the
    // credential cache and the login rate limit keep their values from the start.
    void reconfigure(CoreConfig config) { config_ = std::move(config); }

    // `tls`: the connection came in on the TLS port.
    void connected(ConnId conn, std::string address, Clock::time_point now = Clock::now(),
                   bool tls = false);
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
    // before `cutoff`. Asked once a second: it looks only at connections
    // opened since the last cutoff, never at every user of the node.
    [[nodiscard]] std::vector<ConnId> anonymousSince(Clock::time_point cutoff);

    // Events of the cluster, in the bus's order (hub_cluster.cpp).
    // `name` logged in on `node`, by the claim numbered `claim`.
    [[nodiscard]] Effects userOnline(const std::string& node, const std::string& name,
                                     std::int64_t claim, bool receipts = false);
    [[nodiscard]] Effects userOffline(const std::string& node, const std::string& name);
    // A node stopped beating: its users are gone.
    [[nodiscard]] Effects nodeGone(const std::string& node);
    // This node cleans up after a dead node: its users leave their rooms.
    [[nodiscard]] Effects leftWithNode(const std::vector<std::string>& names);
    // The whole directory again, after the bus was out of reach.
    [[nodiscard]] Effects resynced(const std::vector<Directory::Entry>& entries);
    // Sessions here whose claim lost to a login on another node meanwhile.
    [[nodiscard]] Effects replacedElsewhere(const std::vector<std::string>& names);
    // A record another node relayed to `user` here.
    // `numbered`: a private message stored with its number (its last field).
    [[nodiscard]] Effects relayed(const std::string& user, std::string_view record,
                                  bool numbered = false);
    // A relay of this node that no node took: its node is gone.
    [[nodiscard]] Effects undelivered(const std::string& user, std::string_view record,
                                      bool numbered = false);
    // The users logged in here.
    [[nodiscard]] std::vector<Directory::Entry> localUsers() const;

    // The operator's commands (hub_admin.cpp).
    struct SessionInfo {
        std::string name;
        std::string address;
        std::string since;
        bool tls = false;
    };
    [[nodiscard]] std::vector<SessionInfo> sessionList() const;
    // The rooms that hold a user of this node, with all their members.
    [[nodiscard]] std::vector<Room> roomList();
    // Ends the session of `name` on this node, as a disconnect does; with a
    // `reason`, the user first gets it as a notice. `why` goes to the log.
    // False when the user is not logged in here.
    bool kick(std::string_view name, std::string_view reason, std::string_view why, Effects& fx);
    // The same for every session from this address key; how many there were.
    int kickAddress(std::string_view key, std::string_view reason, std::string_view why,
                    Effects& fx);
    // Deletes an account and retires its name; its session here ends first,
    // so that its buddies hear +LOff.
    void removeAccount(const store::User& user, std::string_view why, Effects& fx);

    // File transfer (hub_transfers.cpp). Where clients of other nodes reach
    // this node's data connections, once its ports are bound.
    void setTransferNode(TransferNode node) { transferNode_ = std::move(node); }
    // A data connection the relay held ended; `done`: its transfer is complete.
    void dataEnded(ConnId conn, bool done);

private:
    struct Peer {
        std::string address;
        Clock::time_point since;
        int violations = 0;
        bool passwordPending = false;
        // The login asked for delivery receipts.
        bool receipts = false;
        // A command came already: only the first may open a data connection.
        bool spoke = false;
        bool tls = false;
    };

    // Sessions
    void login(ConnId conn, const protocol::FieldViews& f, Effects& fx);
    void loginAccepted(ConnId conn, const store::User& user, Effects& fx);
    void signUp(ConnId conn, const protocol::FieldViews& f, Effects& fx);
    void answerSignUp(ConnId conn, std::string_view name, std::string_view outcome, Effects& fx);
    // A ban or the disabled flag keeps this login out (logged); `user` may be unknown.
    [[nodiscard]] bool barred(ConnId conn, const store::User* user);
    // Deletes the account's rows and retires its name.
    void deleteStored(const store::User& user);

    // The user's own account (hub_own_account.cpp)
    void ownAccount(ConnId conn, const Session& me, const protocol::FieldViews& f, bool change,
                    Effects& fx);
    void ownAccountDone(const PasswordResult& result, bool overloaded, Effects& fx);
    // `claimed`: a later login on another node took the name over.
    void endSession(ConnId conn, Effects& fx, bool claimed = false);
    // Sends a record to a user wherever they are logged in; false when nowhere.
    bool toUser(std::string_view name, std::string_view record, Effects& fx);
    // The other node `name` is logged in on, or nullptr.
    [[nodiscard]] const std::string* remoteNodeOf(std::string_view name) const {
        const Directory::Entry* entry = remoteEntryOf(name);
        return entry ? &entry->node : nullptr;
    }
    [[nodiscard]] const Directory::Entry* remoteEntryOf(std::string_view name) const;
    [[nodiscard]] bool isOnline(std::string_view name) const {
        return sessions_.isOnline(name) || remoteNodeOf(name);
    }
    void noteOnline(const std::string& node, const std::string& name, std::int64_t claim,
                    bool receipts, Effects& fx);
    void noteOffline(const std::string& node, const std::string& name, Effects& fx);
    // Tells this node's users whose buddy list holds `name`.
    void announceRemote(const std::string& name, std::string_view code, Effects& fx);
    // A private message no session took: kept for its recipient.
    void keepStray(const std::string& user, std::string_view record, bool tellSender, Effects& fx);
    void announce(const Session& who, std::string_view code, Effects& fx);

    // Buddies and search
    void addBuddy(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void deleteBuddy(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void search(ConnId conn, const protocol::FieldViews& f, Effects& fx);
    [[nodiscard]] std::string buddyListRecord(const Session& me);

    // Private and offline messages
    void privateMessage(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void sendOfflinePage(ConnId conn, const Session& me, Effects& fx);
    // The recipient's mailbox has room for one more; else the sender is told.
    bool mailboxHasRoom(ConnId sender, const store::User& recipient, Effects& fx);

    // Delivery receipts (hub_receipts.cpp)
    // A private message for a session that confirms what it kept: stored,
    // then sent with its number, unless the mailbox pages still on their way
    // bring it. `fields` are the sender and the text, font, size and style.
    void keepAndSend(ConnId sender, ConnId to, std::initializer_list<std::string_view> fields,
                     Effects& fx);
    void confirm(const Session& me, const protocol::FieldViews& f, ConnId conn, Effects& fx);
    // A numbered relay's record without its number, and the number; nothing
    // for a record that is not a numbered +PM.
    [[nodiscard]] static std::optional<std::pair<std::string_view, std::int64_t>>
    numberOf(std::string_view record);
    // A relayed record for `to` here.
    void deliverRelayed(const Recipient& to, std::string_view record, bool numbered, Effects& fx);

    // File transfer (hub_transfers.cpp)
    void offerFile(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void answerFile(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void dataHello(ConnId conn, const protocol::FieldViews& f, bool first, Effects& fx);
    void forgetOffer(const std::string& token, Effects& fx);
    // The offers of a sender whose session ended: over, without a word to
    // the recipients, whose clients keep what came for a re-offer.
    void endOffersOf(const std::string& sender, Effects& fx);
    // A decline relayed from the recipient's node: the offer is forgotten here.
    void relayedAnswer(const std::string& user, std::string_view record, Effects& fx);

    // Rooms
    void openRoom(ConnId conn, const Session& me, const protocol::FieldViews& f, Effects& fx);
    void roomMessage(const Session& me, const protocol::FieldViews& f, Effects& fx);
    void exitRoom(const Session& me, const protocol::FieldViews& f, Effects& fx);
    void invite(const Session& me, const protocol::FieldViews& f, Effects& fx);
    void leaveRoom(const Session& me, Effects& fx);
    void toRoom(const Room& room, const std::string& record, Effects& fx);
    // The user's room, when it is the one named.
    [[nodiscard]] std::optional<Room> roomNamed(const Session& me, std::string_view name);

    // Counts a protocol violation: the first is logged, the last closes.
    void violation(ConnId conn, const std::string& what, Effects& fx);
    [[nodiscard]] std::string who(ConnId conn) const;

    store::Store& store_;
    // What the numbers of delivery receipts are numbers of.
    std::string storeId_;
    CoreConfig config_;
    Log& log_;
    PasswordHasher hasher_;
    // Verified against for unknown names, so that they take as long as known ones.
    std::string decoyHash_;
    CredentialCache credentials_;
    RateLimiter failures_;
    Sessions sessions_;
    Cluster* cluster_;
    Rooms localRooms_;
    RoomBook& rooms_;
    Directory directory_;
    // Map nodes come from a pool: no allocator header on each of a million.
    std::pmr::unsynchronized_pool_resource peerPool_;
    std::pmr::unordered_map<ConnId, Peer> peers_{&peerPool_};
    // Connections in the order they opened, until they are past the login
    // timeout or logged in (or still logging in: kept at the front).
    std::deque<std::pair<Clock::time_point, ConnId>> arrivals_;
    Offers offers_;
    TransferNode transferNode_;
    // Last offline message sent on a connection whose mailbox is being paged out.
    std::unordered_map<ConnId, std::int64_t> offlineCursor_;
};

// An operator notice in the form of a private message from "IM Server".
[[nodiscard]] std::string notice(std::string_view text);

// The fields of `command` that are relayed or stored hold nothing a receiving
// client could read as a separator, and its names and font are clean text.
[[nodiscard]] bool fieldsAreSealed(Command command, const protocol::FieldViews& fields);

// Valid UTF-8 with no control characters.
[[nodiscard]] bool isCleanText(std::string_view text);

} // namespace velmora::server::core
