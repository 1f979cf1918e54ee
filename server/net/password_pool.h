// Runs password jobs (Argon2id, tens of milliseconds each) on worker threads
// so that the network thread never waits for one. The queue is bounded: past
// it a job is refused at once rather than making every login wait longer.
// Results are posted back to the network thread's executor.
#pragma once

#include "core/password.h"

#include <asio/any_io_executor.hpp>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora::server::net {

class PasswordPool {
public:
    using Done = std::function<void(const core::PasswordResult&)>;

    // `threads` 0 means one per core.
    PasswordPool(asio::any_io_executor results, core::HashCost cost, std::size_t threads,
                 std::size_t maxQueued);
    ~PasswordPool();
    PasswordPool(const PasswordPool&) = delete;
    PasswordPool& operator=(const PasswordPool&) = delete;

    // False when the queue is full; `done` then is never called. A job at
    // the minimum cost runs at once, `done` before submit() returns.
    bool submit(core::PasswordJob job, Done done);
    // Jobs waiting for a thread now.
    [[nodiscard]] std::size_t queued();

private:
    void work();

    asio::any_io_executor results_;
    core::PasswordHasher hasher_;
    std::size_t maxQueued_;
    std::mutex mutex_;
    std::condition_variable ready_;
    std::deque<std::pair<core::PasswordJob, Done>> queue_;
    bool stopping_ = false;
    std::vector<std::thread> threads_;
};

} // namespace velmora::server::net
