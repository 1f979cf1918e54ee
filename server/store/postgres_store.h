// The store in a PostgreSQL database, which several servers can share.
#pragma once

#include "store/postgres.h"
#include "store/store.h"

namespace velmora::server::store {

class PostgresStore final : public Store {
public:
    // Connects (a libpq URI), migrates the schema and prepares the statements.
    explicit PostgresStore(const std::string& uri);
    ~PostgresStore() override;

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
    // The connection, opened again first when it was lost between groups of
    // changes (never inside one: the changes before would be gone).
    PgConnection& db();

    PgConnection db_;
};

} // namespace velmora::server::store
