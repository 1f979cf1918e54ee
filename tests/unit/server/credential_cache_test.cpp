#include "core/credential_cache.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::server::core {
namespace {

using namespace std::chrono_literals;

// A full cache lets the least recently remembered login go, counting a
// login remembered again as recent, and drops expired ones first.
TEST(CredentialCacheTest, EvictsTheOldestLoginAndKeepsRefreshedOnes) {
    CredentialCache cache(3, 60s);
    const auto t0 = CredentialCache::Clock::now();
    const auto remember = [&](int user, auto at) {
        cache.remember(user, "user" + std::to_string(user), "secret", "hash", t0 + at);
    };
    const auto matches = [&](int user, auto at) {
        return cache.matches(user, "user" + std::to_string(user), "secret", "hash", t0 + at);
    };
    remember(1, 0s);
    remember(2, 1s);
    remember(3, 2s);
    remember(1, 3s); // again: now the most recent
    remember(4, 4s); // full: 2 goes
    EXPECT_TRUE(matches(1, 5s));
    EXPECT_FALSE(matches(2, 5s));
    EXPECT_TRUE(matches(3, 5s));
    EXPECT_TRUE(matches(4, 5s));
    cache.forget(3);
    remember(5, 6s); // room left by the forgotten one: nobody goes
    EXPECT_TRUE(matches(1, 7s));
    EXPECT_TRUE(matches(4, 7s));
    remember(6, 63s + 500ms); // 1 and 4 expired at 63 s and 64 s: only 1 goes
    EXPECT_EQ(cache.size(), 3u);
    EXPECT_TRUE(matches(4, 63s + 600ms));
    EXPECT_TRUE(matches(5, 63s + 600ms));
    EXPECT_FALSE(matches(1, 63s + 600ms));
    // Remembering the same users over and over keeps the cache's own
    // bookkeeping bounded and every one of them valid.
    for (int round = 0; round < 1000; ++round) {
        remember(5, 64s + round * 1ms);
        remember(6, 64s + round * 1ms);
    }
    EXPECT_FALSE(matches(4, 65s)); // expired, still held
    remember(7, 65s);              // full: the expired one goes, not 5 or 6
    EXPECT_EQ(cache.size(), 3u);
    EXPECT_TRUE(matches(5, 65s));
    EXPECT_TRUE(matches(6, 65s));
    EXPECT_TRUE(matches(7, 65s));
}

} // namespace
} // namespace velmora::server::core
