// SPDX-License-Identifier: MIT
#include "kinloom/Lanes.h"

#include "core/Retrying.h"
#include "helper/HelperLane.h"
#include "kinloom/Route.h"
#include "plugin/Execute.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace kinloom {

namespace {

struct Queued {
    Operation operation;
    std::shared_ptr<CallState> state;
};

} // namespace

struct Lanes::Impl {
    Settings settings;
    std::string address;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Queued> urgent; // guarded by the mutex, like the next three
    std::deque<Queued> others;
    std::vector<std::shared_ptr<CallState>> running; ///< by lane; null for one that is free
    bool ending = false;
    std::vector<std::thread> threads;

    void work(std::size_t lane);
    void end();
    bool isNextFree(std::size_t lane) const;
    Queued takeNext();
};

/// Whether there is a call for this lane: lanes that have a helper already come first, and those are the first ones.
bool Lanes::Impl::isNextFree(std::size_t lane) const
{
    const auto before = running.begin() + static_cast<std::ptrdiff_t>(lane);
    return urgent.size() + others.size() > static_cast<std::size_t>(std::count(running.begin(), before, nullptr));
}

Queued Lanes::Impl::takeNext()
{
    std::deque<Queued>& queue = urgent.empty() ? others : urgent;
    Queued next = std::move(queue.front());
    queue.pop_front();
    return next;
}

void Lanes::Impl::work(std::size_t lane)
{
    HelperLane engine(settings, address);
    std::unique_lock<std::mutex> lock(mutex);
    while (true) {
        changed.wait(lock, [&] { return ending || isNextFree(lane); });
        if (ending)
            return;
        const Queued next = takeNext();
        running[lane] = next.state;
        lock.unlock();
        runAgainAndAgain(engine, next.operation, *next.state);
        lock.lock();
        running[lane] = nullptr;
        changed.notify_all(); // whose turn it is may have changed with the lanes that are free
    }
}

Lanes::Lanes(Settings settings, std::size_t count) : m_impl(std::make_unique<Impl>())
{
    m_impl->settings = std::move(settings);
    m_impl->address = addressOf(m_impl->settings.client);
    count = std::max<std::size_t>(count, 1);
    m_impl->running.resize(count);
    try {
        for (std::size_t lane = 0; lane < count; ++lane)
            m_impl->threads.emplace_back(&Impl::work, m_impl.get(), lane);
    } catch (...) {
        m_impl->end();
        throw;
    }
}

Lanes::~Lanes() { m_impl->end(); }

void Lanes::Impl::end()
{
    std::vector<std::shared_ptr<CallState>> calls;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ending = true;
        for (std::deque<Queued>* const queue : {&urgent, &others}) {
            for (const Queued& queued : *queue)
                calls.push_back(queued.state);
            queue->clear();
        }
        for (const auto& state : running)
            if (state)
                calls.push_back(state);
    }
    changed.notify_all();
    for (const auto& state : calls)
        state->want(CallState::Wish::CANCEL);
    for (std::thread& thread : threads)
        thread.join();
}

std::shared_ptr<CallState> Lanes::enqueue(Operation operation, const CallOptions& options)
{
    auto state = std::make_shared<CallState>(attemptOf(operation), m_impl->address, options);
    CallState::listen(state);
    {
        const std::lock_guard<std::mutex> lock(m_impl->mutex);
        if (!m_impl->ending) {
            (options.urgent ? m_impl->urgent : m_impl->others).push_back({std::move(operation), state});
            m_impl->changed.notify_all();
            return state;
        }
    }
    state->want(CallState::Wish::CANCEL);
    return state;
}

std::size_t Lanes::size() const { return m_impl->threads.size(); }
const std::string& Lanes::address() const { return m_impl->address; }

} // namespace kinloom
