#include "transfer_ends.h"

#include "protocol/transfer.h"
#include "protocol/wire.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace velmora::bench {

namespace proto = velmora::protocol;
namespace tr = velmora::protocol::transfer;

namespace {

using Clock = std::chrono::steady_clock;

// Reads and writes of this size keep the per-call cost out of the figures.
constexpr std::size_t kChunk = 1 << 20;
// What the sender sends in place of the file's SHA-256: 64 lower-case hex
// digits, which no one here checks against the bytes.
constexpr std::string_view kFixedDigest =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
static_assert(kFixedDigest.size() == tr::kDigestHexChars);
constexpr std::string_view kFileName = "bench.bin";
// The receiver has nothing yet; the sender's hello says 0 in any case.
constexpr std::string_view kOffset = "0";

// The file: one chunk of noise, sent over and over.
std::vector<char> noise() {
    std::vector<char> bytes(kChunk);
    std::mt19937_64 random(2026);
    for (std::size_t i = 0; i < bytes.size(); i += sizeof(std::uint64_t)) {
        const std::uint64_t word = random();
        std::memcpy(bytes.data() + i, &word, sizeof word);
    }
    return bytes;
}

std::string freshToken() {
    std::random_device random;
    std::string token;
    while (token.size() < tr::kTokenHexChars) {
        token += "0123456789abcdef"[random() % 16];
    }
    return token;
}

void logIn(StreamLink& session, const std::string& user, const std::string& password) {
    session.writeAll(proto::buildCommand(proto::kHeadLI, {user, password, "1.4"}));
    session.waitFor(proto::buildReply(proto::reply::LI, {proto::answer::kLoginTrue}));
}

// The file, then the digest; returns the moment before the first byte.
Clock::time_point sendFile(StreamLink& data, std::uint64_t bytes) {
    const std::vector<char> file = noise();
    const auto start = Clock::now();
    for (std::uint64_t sent = 0; sent < bytes;) {
        const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, bytes - sent));
        data.writeAll(file.data(), n);
        sent += n;
    }
    data.writeAll(kFixedDigest);
    return start;
}

// The verdict, as the server passes it on before it closes the connection.
void readVerdict(StreamLink& data) {
    std::string verdict;
    char chunk[tr::kMaxVerdictBytes + 1];
    while (const std::size_t n = data.readSome(chunk, sizeof chunk)) {
        verdict.append(chunk, n);
        if (verdict.size() > tr::kMaxVerdictBytes) {
            break;
        }
    }
    if (verdict != tr::kVerdictOk) {
        throw LinkError("the sender got \"" + verdict + "\" as the verdict");
    }
}

// Counts the stream (`first` is what came with "GO"), checks its length and
// its digest, answers OK; returns the moment the last byte arrived.
Clock::time_point receiveFile(StreamLink& data, std::uint64_t bytes, std::string first,
                              bool endAfterVerdict) {
    const std::uint64_t total = bytes + tr::kDigestHexChars;
    std::string digest;
    std::uint64_t got = 0;
    auto take = [&](const char* at, std::size_t n) {
        // The part of this read that falls on the digest.
        if (got + n > bytes) {
            const auto skip = static_cast<std::size_t>(bytes > got ? bytes - got : 0);
            digest.append(at + skip, n - skip);
        }
        got += n;
    };
    take(first.data(), std::min<std::size_t>(first.size(), total));
    if (first.size() > total) {
        throw LinkError("the receiver got more than the file and its digest");
    }
    std::vector<char> buffer(kChunk);
    while (got < total) {
        const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, total - got));
        const std::size_t n = data.readSome(buffer.data(), want);
        if (n == 0) {
            throw LinkError("the stream ended after " + std::to_string(got) + " of " +
                            std::to_string(total) + " bytes");
        }
        take(buffer.data(), n);
    }
    const auto end = Clock::now();
    if (digest != kFixedDigest) {
        throw LinkError("the stream did not end with the digest: the byte count is off");
    }
    data.writeAll(tr::kVerdictOk);
    if (endAfterVerdict) {
        data.shutdownWrite();
    }
    // Nothing may follow the digest: the server ends the connection.
    if (data.readSome(buffer.data(), buffer.size()) != 0) {
        throw LinkError("the receiver got bytes after the digest");
    }
    return end;
}

// Runs both ends at once. The first failure of either is thrown; it calls
// `stop`, which must unblock the other end, so that a refused offer fails
// the case at once instead of after the stall limit.
TransferFigures runBoth(auto&& sender, auto&& receiver, auto&& stop) {
    Clock::time_point start, end;
    std::mutex lock;
    std::string firstError;
    auto failed = [&](const char* who, const std::exception& e) {
        const std::lock_guard<std::mutex> guard(lock);
        if (firstError.empty()) {
            firstError = std::string(who) + ": " + e.what();
            stop();
        }
    };
    std::thread receiving([&] {
        try {
            end = receiver();
        } catch (const std::exception& e) {
            failed("receiver", e);
        }
    });
    try {
        start = sender();
    } catch (const std::exception& e) {
        failed("sender", e);
    }
    receiving.join();
    if (!firstError.empty()) {
        throw LinkError(firstError);
    }
    return {std::chrono::duration<double>(end - start).count()};
}

} // namespace

ServerTransfer::ServerTransfer(unsigned short port, const TlsTrust* tls, std::uint64_t bytes,
                               const std::string& sender, const std::string& receiver,
                               const std::string& password)
    : port_(port), tls_(tls), bytes_(bytes), sender_(sender), receiver_(receiver),
      senderSession_(std::make_unique<StreamLink>(port, tls)),
      receiverSession_(std::make_unique<StreamLink>(port, tls)) {
    logIn(*senderSession_, sender_, password);
    logIn(*receiverSession_, receiver_, password);
}

TransferFigures ServerTransfer::run() {
    const std::string token = freshToken();
    const std::string size = std::to_string(bytes_);
    const std::string go = proto::buildReply(proto::reply::FX, {tr::kGo, kOffset});
    senderSession_->writeAll(
        proto::buildCommand(proto::kHeadFR, {sender_, receiver_, kFileName, size, token}));
    auto sender = [&] {
        senderSession_->waitFor(
            proto::buildReply(proto::reply::FA, {proto::answer::kFileSent, token, kOffset}));
        StreamLink data(port_, tls_);
        data.writeAll(proto::buildCommand(proto::kHeadFX, {token, tr::kRoleSender, kOffset}));
        data.waitFor(go);
        if (!data.takeSurplus().empty()) {
            throw LinkError("the sender got bytes after \"GO\"");
        }
        const auto start = sendFile(data, bytes_);
        readVerdict(data);
        return start;
    };
    auto receiver = [&] {
        // The id is the bare token: the offer is held by this very server.
        receiverSession_->waitFor(
            proto::buildReply(proto::reply::FR, {sender_, kFileName, size, token}));
        StreamLink data(port_, tls_);
        data.writeAll(proto::buildCommand(proto::kHeadFX, {token, tr::kRoleReceiver, kOffset}));
        data.waitFor(go);
        return receiveFile(data, bytes_, data.takeSurplus(), false);
    };
    // The sessions are where each end waits before its data connection; a
    // data connection is closed by the server when its partner's ends.
    return runBoth(sender, receiver, [&] {
        senderSession_->abort();
        receiverSession_->abort();
    });
}

TransferFigures runThroughBareRelay(unsigned short port, std::uint64_t bytes) {
    // Connected in this order, so that the relay has both before any byte.
    StreamLink receiving(port, nullptr);
    StreamLink sending(port, nullptr);
    return runBoth(
        [&] {
            const auto start = sendFile(sending, bytes);
            readVerdict(sending);
            // The relay passes this end on, which lets the receiver finish.
            sending.shutdownWrite();
            return start;
        },
        [&] { return receiveFile(receiving, bytes, {}, true); },
        [&] {
            sending.abort();
            receiving.abort();
        });
}

} // namespace velmora::bench
