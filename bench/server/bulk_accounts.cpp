#include "bulk_accounts.h"

#include "core/password.h"
#include "store/sqlite_store.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

namespace velmora::bench {

std::string loadUserName(int k) {
    char name[16];
    std::snprintf(name, sizeof name, "mu%07d", k);
    return name;
}

double createAccounts(const std::filesystem::path& db, int count, int first, int watchers) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    server::store::SqliteStore store(db.string());
    const std::string hash =
        server::core::PasswordHasher(server::core::HashCost::Fast).hash(kLoadPassword);
    for (int k = 0; k < count; ++k) {
        if (!store.addUser(loadUserName(k), hash)) {
            throw std::runtime_error("cannot add " + loadUserName(k));
        }
    }
    if (!store.addUser(kPopularUser, hash)) {
        throw std::runtime_error(std::string("cannot add ") + kPopularUser);
    }
    const auto popular = store.findUser(kPopularUser)->id;
    for (int k = first; k < std::min(count, first + watchers); ++k) {
        store.addBuddy(store.findUser(loadUserName(k))->id, popular);
    }
    store.commit();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

} // namespace velmora::bench
