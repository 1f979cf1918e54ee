#include "net/password_pool.h"

#include <asio/post.hpp>

namespace velmora::server::net {

std::size_t PasswordPool::queued() {
    const std::lock_guard lock(mutex_);
    return queue_.size();
}

PasswordPool::PasswordPool(asio::any_io_executor results, core::HashCost cost, std::size_t threads,
                           std::size_t maxQueued)
    : results_(std::move(results)), hasher_(cost), maxQueued_(maxQueued) {
    if (threads == 0) {
        threads = std::max(1u, std::thread::hardware_concurrency());
    }
    for (std::size_t i = 0; i < threads; ++i) {
        threads_.emplace_back([this] { work(); });
    }
}

PasswordPool::~PasswordPool() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    ready_.notify_all();
    for (auto& thread : threads_) {
        thread.join();
    }
}

bool PasswordPool::submit(core::PasswordJob job, Done done) {
    if (hasher_.isCheap(job)) {
        done(core::runPasswordJob(std::move(job), hasher_));
        return true;
    }
    {
        const std::lock_guard lock(mutex_);
        if (queue_.size() >= maxQueued_) {
            return false;
        }
        queue_.emplace_back(std::move(job), std::move(done));
    }
    ready_.notify_one();
    return true;
}

void PasswordPool::work() {
    for (;;) {
        std::unique_lock lock(mutex_);
        ready_.wait(lock, [&] { return stopping_ || !queue_.empty(); });
        if (stopping_) {
            return;
        }
        auto [job, done] = std::move(queue_.front());
        queue_.pop_front();
        lock.unlock();
        core::PasswordResult result;
        try {
            result = core::runPasswordJob(job, hasher_);
        } catch (const std::exception&) {
            result.job = std::move(job); // out of memory: the login fails
            result.ok = false;
        }
        asio::post(results_,
                   [done = std::move(done), result = std::move(result)] { done(result); });
    }
}

} // namespace velmora::server::net
