#include "core/password.h"

#include <sodium.h>

#include <stdexcept>

namespace velmora::server::core {

PasswordHasher::PasswordHasher(HashCost cost)
    : cost_(cost), opsLimit_(cost == HashCost::Fast ? crypto_pwhash_OPSLIMIT_MIN
                                                    : crypto_pwhash_OPSLIMIT_INTERACTIVE),
      memLimit_(cost == HashCost::Fast ? crypto_pwhash_MEMLIMIT_MIN
                                       : crypto_pwhash_MEMLIMIT_INTERACTIVE) {
    if (sodium_init() < 0) {
        throw std::runtime_error("libsodium failed to initialise");
    }
}

std::string PasswordHasher::hash(const std::string& password) const {
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str_alg(out, password.data(), password.size(), opsLimit_, memLimit_,
                              crypto_pwhash_ALG_ARGON2ID13) != 0) {
        throw std::runtime_error("password hashing ran out of memory");
    }
    return out;
}

bool PasswordHasher::verify(const std::string& hash, const std::string& password) const {
    return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

bool PasswordHasher::needsRehash(const std::string& hash) const {
    return crypto_pwhash_str_needs_rehash(hash.c_str(), opsLimit_, memLimit_) != 0;
}

bool PasswordHasher::isCheap(const PasswordJob& job) const {
    return cost_ == HashCost::Fast &&
           (job.kind == PasswordJob::Kind::Hash || job.kind == PasswordJob::Kind::Change ||
            !needsRehash(job.hash));
}

PasswordResult runPasswordJob(PasswordJob job, const PasswordHasher& hasher) {
    PasswordResult result;
    if (job.kind == PasswordJob::Kind::Hash) {
        result.hash = hasher.hash(job.password);
        result.ok = true;
    } else if (job.kind != PasswordJob::Kind::Verify) {
        result.ok = hasher.verify(job.hash, job.password) && job.user != 0;
        if (result.ok && job.kind == PasswordJob::Kind::Change) {
            result.hash = hasher.hash(job.newPassword);
        }
    } else {
        result.ok = hasher.verify(job.hash, job.password) && job.user != 0;
        if (result.ok && hasher.needsRehash(job.hash)) {
            result.hash = hasher.hash(job.password);
        }
    }
    result.job = std::move(job);
    return result;
}

} // namespace velmora::server::core
