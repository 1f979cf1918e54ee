#include "core/credential_cache.h"

#include <sodium.h>

#include <algorithm>
#include <stdexcept>

namespace velmora::server::core {

CredentialCache::CredentialCache(std::size_t maxEntries, Clock::duration maxAge)
    : maxEntries_(maxEntries), maxAge_(maxAge) {
    if (sodium_init() < 0) {
        throw std::runtime_error("libsodium failed to initialise");
    }
    randombytes_buf(key_.data(), key_.size());
}

CredentialCache::Digest CredentialCache::digest(std::string_view name, std::string_view password,
                                                std::string_view hash) const {
    crypto_generichash_state state;
    crypto_generichash_init(&state, key_.data(), key_.size(), sizeof(Digest));
    // Each part goes in with its length, so that no two splits of the same
    // bytes give the same digest.
    for (const std::string_view part : {name, password, hash}) {
        const std::uint64_t length = part.size();
        crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(&length),
                                  sizeof length);
        crypto_generichash_update(&state, reinterpret_cast<const unsigned char*>(part.data()),
                                  part.size());
    }
    Digest out{};
    crypto_generichash_final(&state, out.data(), out.size());
    return out;
}

bool CredentialCache::matches(std::int64_t user, std::string_view name, std::string_view password,
                              std::string_view hash, Clock::time_point now) const {
    const auto it = entries_.find(user);
    if (it == entries_.end() || now - it->second.at >= maxAge_) {
        return false;
    }
    const Digest expected = digest(name, password, hash);
    return sodium_memcmp(expected.data(), it->second.digest.data(), expected.size()) == 0;
}

void CredentialCache::remember(std::int64_t user, std::string_view name, std::string_view password,
                               std::string_view hash, Clock::time_point now) {
    if (maxEntries_ == 0) {
        return;
    }
    if (entries_.size() >= maxEntries_ && !entries_.contains(user)) {
        evict(now);
    }
    entries_[user] = {digest(name, password, hash), now};
    order_.emplace_back(user, now);
    if (order_.size() > 2 * std::max<std::size_t>(maxEntries_, 16)) {
        compactOrder();
    }
}

void CredentialCache::compactOrder() {
    order_.clear();
    for (const auto& [user, entry] : entries_) {
        order_.emplace_back(user, entry.at);
    }
    std::sort(order_.begin(), order_.end(),
              [](const auto& a, const auto& b) { return a.second < b.second; });
}

void CredentialCache::evict(Clock::time_point now) {
    // Expired entries go, and while the cache is still full the oldest live one.
    while (!order_.empty()) {
        const auto [user, at] = order_.front();
        const auto it = entries_.find(user);
        const bool current = it != entries_.end() && it->second.at == at;
        if (current && now - at < maxAge_ && entries_.size() < maxEntries_) {
            return;
        }
        order_.pop_front();
        if (current) {
            entries_.erase(it);
        }
    }
}

} // namespace velmora::server::core
