// Accounts, buddy lists and waiting offline messages, kept in one SQLite file.
#pragma once

#include "store/sqlite.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::server::store {

using UserId = std::int64_t;

struct User {
    UserId id = 0;
    std::string name; // as chosen at registration
    std::string hash;
};

struct OfflineMessage {
    std::int64_t id = 0;
    std::string sender;
    std::string body;
    std::string sent;
};

class Store {
public:
    // Opens or creates the file, switches it to WAL and migrates the schema.
    explicit Store(const std::string& path);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // False when the name is taken, ignoring case.
    [[nodiscard]] bool addUser(const std::string& name, const std::string& hash);
    // Looks a name up ignoring case.
    [[nodiscard]] std::optional<User> findUser(const std::string& name);
    void setHash(UserId user, const std::string& hash);

    // Names containing `query` ignoring case, sorted ignoring case.
    [[nodiscard]] std::vector<std::string> searchUsers(const std::string& query, int limit);

    // Buddy names of `owner` in the order they were added.
    [[nodiscard]] std::vector<std::string> buddies(UserId owner);
    // False when already listed.
    bool addBuddy(UserId owner, UserId buddy);
    void removeBuddy(UserId owner, UserId buddy);
    // Names of the users whose buddy list holds `buddy`.
    [[nodiscard]] std::vector<std::string> watchers(UserId buddy);

    std::int64_t addOffline(UserId recipient, const std::string& sender, const std::string& body,
                            const std::string& sent);
    [[nodiscard]] int offlineCount(UserId recipient);
    // At most `limit` messages stored after message `after`, oldest first.
    [[nodiscard]] std::vector<OfflineMessage> offline(UserId recipient, std::int64_t after,
                                                      int limit);
    void removeOffline(const std::vector<std::int64_t>& ids);

    // Changes are grouped: the first one opens a transaction and commit()
    // ends it with one disk sync for all of them (the server commits once
    // per turn of its loop). Reads see the changes made before them.
    void commit();
    [[nodiscard]] bool inTransaction() const { return open_; }
    // Counts changes, so that a caller can tell whether a step made one.
    [[nodiscard]] std::uint64_t changes() const { return changes_; }

private:
    void change();

    struct Statements;
    Database db_;
    std::unique_ptr<Statements> sql_;
    bool open_ = false;
    std::uint64_t changes_ = 0;
};

} // namespace velmora::server::store
