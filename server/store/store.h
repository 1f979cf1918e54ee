// Accounts, buddy lists and waiting offline messages: what every storage
// engine keeps, and the grouping of changes that the server relies on.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::server::store {

class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

using UserId = std::int64_t;

struct User {
    UserId id = 0;
    std::string name; // as chosen at registration
    std::string hash;
    // Kept from logging in by the operator until enabled again.
    bool disabled = false;
    std::string created{}; // "YYYY-MM-DD HH:MM:SS", UTC
};

// A ban on an account name or on an address key (IPv4, or an IPv6 /64).
struct Ban {
    std::string target;
    std::int64_t until = 0; // Unix seconds; 0: for ever
    std::string reason;
    std::string created{}; // "YYYY-MM-DD HH:MM:SS", UTC
};

struct OfflineMessage {
    std::int64_t id = 0;
    std::string sender;
    std::string body;
    std::string sent;
};

class Store {
public:
    Store() = default;
    virtual ~Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // False when the name is taken, ignoring case.
    [[nodiscard]] virtual bool addUser(const std::string& name, const std::string& hash) = 0;
    // Looks a name up ignoring case.
    [[nodiscard]] virtual std::optional<User> findUser(const std::string& name) = 0;
    virtual void setHash(UserId user, const std::string& hash) = 0;

    // Names containing `query` ignoring case, sorted ignoring case.
    [[nodiscard]] virtual std::vector<std::string> searchUsers(const std::string& query,
                                                               int limit) = 0;

    // Buddy names of `owner` in the order they were added.
    [[nodiscard]] virtual std::vector<std::string> buddies(UserId owner) = 0;
    // False when already listed.
    virtual bool addBuddy(UserId owner, UserId buddy) = 0;
    virtual void removeBuddy(UserId owner, UserId buddy) = 0;
    // Names of the users whose buddy list holds `buddy`.
    [[nodiscard]] virtual std::vector<std::string> watchers(UserId buddy) = 0;

    virtual std::int64_t addOffline(UserId recipient, const std::string& sender,
                                    const std::string& body, const std::string& sent) = 0;
    [[nodiscard]] virtual int offlineCount(UserId recipient) = 0;
    // At most `limit` messages stored after message `after`, oldest first.
    [[nodiscard]] virtual std::vector<OfflineMessage> offline(UserId recipient, std::int64_t after,
                                                              int limit) = 0;
    virtual void removeOffline(const std::vector<std::int64_t>& ids) = 0;
    // The same, for messages of `recipient` only: a client confirms its own.
    virtual void removeOfflineOf(UserId recipient, const std::vector<std::int64_t>& ids) = 0;

    // The operator's side (times are Unix seconds). Accounts whose name
    // contains `query` ignoring case, sorted as a search is.
    [[nodiscard]] virtual std::vector<User> listUsers(const std::string& query) = 0;
    // With its buddy list, its place in other lists and the messages waiting for it.
    virtual void deleteUser(UserId user) = 0;
    virtual void setDisabled(UserId user, bool disabled) = 0;
    // Replaces any ban on the same target.
    virtual void putBan(const Ban& ban) = 0;
    // False when there was none.
    virtual bool removeBan(const std::string& target) = 0;
    // The ban on `target` still in force at `now`.
    [[nodiscard]] virtual std::optional<Ban> banOn(const std::string& target, std::int64_t now) = 0;
    [[nodiscard]] virtual std::vector<Ban> bans(std::int64_t now) = 0;
    // A deleted account's name, kept from sign-ups until `until`.
    virtual void retireName(const std::string& name, std::int64_t until) = 0;
    [[nodiscard]] virtual bool isRetired(const std::string& name, std::int64_t now) = 0;

    // A token made with the database: message ids mean something only beside it.
    [[nodiscard]] virtual std::string storeId() = 0;

    // Changes are grouped: the first one opens a transaction and commit()
    // ends it with one disk sync for all of them (the server commits once
    // per turn of its loop). Reads see the changes made before them. When
    // the commit fails, every change of the group is rolled back.
    void commit();
    [[nodiscard]] bool inTransaction() const { return open_; }
    // Counts changes, so that a caller can tell whether a step made one.
    [[nodiscard]] std::uint64_t changes() const { return changes_; }

protected:
    // Every change calls this first.
    void change();
    // Commits what is open, if anything; for destructors, which cannot throw.
    void commitQuietly() noexcept;

private:
    virtual void begin() = 0;
    virtual void end() = 0;
    virtual void rollback() noexcept = 0;

    bool open_ = false;
    std::uint64_t changes_ = 0;
};

} // namespace velmora::server::store
