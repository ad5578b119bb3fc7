// SPDX-License-Identifier: MIT
/// \file Threads for work that requests should not do themselves.
#ifndef KINLOOMD_CORE_WORKERPOOL_H
#define KINLOOMD_CORE_WORKERPOOL_H

#include "core/Failure.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace kinloomd {

/// A few threads that do jobs in the order in which they came.
class WorkerPool {
public:
    /// \param threadEnd called on each thread when it ends.
    explicit WorkerPool(unsigned threads, void (*threadEnd)() = nullptr);
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    /// Drops the jobs that have not begun, and waits for the others.
    ~WorkerPool();

    /// Queues a job. Its result, or what it throws, comes through the future; std::future_error when it was dropped.
    template <typename Job> auto submit(Job job) -> std::future<decltype(job())>
    {
        auto task = std::make_shared<std::packaged_task<decltype(job())()>>(std::move(job));
        auto result = task->get_future();
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (!m_stopping)
                m_jobs.emplace_back([task] { (*task)(); });
        }
        m_wake.notify_one();
        return result;
    }

    /// Does a job and waits for it. Throws ServiceError UNAVAILABLE when it was dropped.
    template <typename Job> auto run(Job job) -> decltype(job())
    {
        try {
            return submit(std::move(job)).get();
        } catch (const std::future_error&) {
            throw ServiceError(Failure::UNAVAILABLE, "The service is stopping.");
        }
    }

    /// Drops the jobs that have not begun, and takes no more.
    void stop();

private:
    void work();

    void (*m_threadEnd)();
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_jobs; // guarded by m_mutex
    bool m_stopping = false;                  // guarded by m_mutex
    std::vector<std::thread> m_threads;
};

} // namespace kinloomd

#endif
