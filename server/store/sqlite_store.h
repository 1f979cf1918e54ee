// The store in one SQLite file, for a single server.
#pragma once

#include "store/sqlite.h"
#include "store/store.h"

namespace velmora::server::store {

class SqliteStore final : public Store {
public:
    // Opens or creates the file, switches it to WAL and migrates the schema.
    explicit SqliteStore(const std::string& path);
    ~SqliteStore() override;

    bool addUser(const std::string& name, const std::string& hash) override;
    std::optional<User> findUser(const std::string& name) override;
    void setHash(UserId user, const std::string& hash) override;
    std::vector<std::string> searchUsers(const std::string& query, int limit) override;
    std::vector<std::string> buddies(UserId owner) override;
    bool addBuddy(UserId owner, UserId buddy) override;
    void removeBuddy(UserId owner, UserId buddy) override;
    std::vector<std::string> watchers(UserId buddy) override;
    std::int64_t addOffline(UserId recipient, const std::string& sender, const std::string& body,
                            const std::string& sent) override;
    int offlineCount(UserId recipient) override;
    std::vector<OfflineMessage> offline(UserId recipient, std::int64_t after, int limit) override;
    void removeOffline(const std::vector<std::int64_t>& ids) override;
    void removeOfflineOf(UserId recipient, const std::vector<std::int64_t>& ids) override;
    std::vector<User> listUsers(const std::string& query) override;
    void deleteUser(UserId user) override;
    void setDisabled(UserId user, bool disabled) override;
    void putBan(const Ban& ban) override;
    bool removeBan(const std::string& target) override;
    std::optional<Ban> banOn(const std::string& target, std::int64_t now) override;
    std::vector<Ban> bans(std::int64_t now) override;
    void retireName(const std::string& name, std::int64_t until) override;
    bool isRetired(const std::string& name, std::int64_t now) override;
    std::string storeId() override;

private:
    void begin() override;
    void end() override;
    void rollback() noexcept override;

    struct Statements;
    Database db_;
    std::unique_ptr<Statements> sql_;
};

} // namespace velmora::server::store
