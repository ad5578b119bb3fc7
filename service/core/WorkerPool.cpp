// SPDX-License-Identifier: MIT
#include "core/WorkerPool.h"

namespace kinloomd {

WorkerPool::WorkerPool(unsigned threads, void (*threadEnd)()) : m_threadEnd(threadEnd)
{
    for (unsigned i = 0; i < threads; ++i)
        m_threads.emplace_back([this] { work(); });
}

WorkerPool::~WorkerPool()
{
    stop();
    for (std::thread& thread : m_threads)
        thread.join();
}

void WorkerPool::stop()
{
    // The jobs are destroyed outside the lock: whoever waits for one of them goes on at once.
    std::deque<std::function<void()>> dropped;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
        dropped.swap(m_jobs);
    }
    m_wake.notify_all();
}

void WorkerPool::work()
{
    for (;;) {
        std::function<void()> job;
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
            if (m_jobs.empty())
                break;
            job = std::move(m_jobs.front());
            m_jobs.pop_front();
        }
        job();
    }
    if (m_threadEnd != nullptr)
        m_threadEnd();
}

} // namespace kinloomd
