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
}

void CredentialCache::evict(Clock::time_point now) {
    std::erase_if(entries_, [&](const auto& entry) { return now - entry.second.at >= maxAge_; });
    if (entries_.size() >= maxEntries_) {
        // Still full of live entries: the oldest one goes.
        const auto oldest =
            std::min_element(entries_.begin(), entries_.end(),
                             [](auto& a, auto& b) { return a.second.at < b.second.at; });
        entries_.erase(oldest);
    }
}

} // namespace velmora::server::core
