// SPDX-License-Identifier: MIT
/// \file Calls that run beside each other and end in order.
#ifndef KINLOOM_CORE_WINDOW_H
#define KINLOOM_CORE_WINDOW_H

#include "kinloom/Call.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace kinloom {

/// Keeps so many calls running, and hands their ends over in the order in which they were begun. Used by one thread, on which the
/// ends are handed over too. Its own end cancels what runs and waits for it; that is not handed over any more.
template <class Value, class Item> class Window {
public:
    using End = std::function<void(Item& item, const Outcome<Value>& outcome)>;

    Window(std::size_t count, End end) : m_count(count), m_end(std::move(end)), m_bell(std::make_shared<Bell>()) {}
    ~Window()
    {
        cancel();
        for (const Entry& entry : m_entries)
            entry.call.wait();
    }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Begins another call, when there is room for it; none once all were cancelled, as an end that is handed over meanwhile may
    /// do, or one was interrupted, whose end may have to wait for those before it. \param begin is given the item in its place,
    /// where it stays until its end.
    template <class Begin> void add(std::unique_ptr<Item> item, Begin begin)
    {
        while (running() >= m_count || m_entries.size() >= m_count * MOST_BEHIND)
            waitForOne();
        if (m_cancelled || interrupted())
            return;
        Call<Value> call = begin(*item);
        m_entries.push_back({std::move(item), call});
        call.onEnd([bell = m_bell] { bell->ring(); });
        handOver();
    }

    /// Waits for all, and hands them over.
    void finish()
    {
        while (!m_entries.empty())
            waitForOne();
    }

    /// Asks for the end of all that runs.
    void cancel()
    {
        m_cancelled = true;
        for (Entry& entry : m_entries)
            entry.call.cancel();
    }

private:
    /// Calls that have ended wait for those before them; their number is limited too.
    static constexpr std::size_t MOST_BEHIND = 4;

    struct Entry {
        std::unique_ptr<Item> item;
        Call<Value> call;
    };
    /// Outlives the window: a call that has ended may ring a moment later.
    struct Bell {
        void ring()
        {
            const std::lock_guard<std::mutex> lock(mutex);
            rung = true;
            changed.notify_all();
        }
        void wait()
        {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [this] { return rung; });
            rung = false;
        }
        std::mutex mutex;
        std::condition_variable changed;
        bool rung = false;
    };

    std::size_t running() const
    {
        std::size_t count = 0;
        for (const Entry& entry : m_entries)
            count += entry.call.ended() ? 0 : 1;
        return count;
    }
    bool interrupted() const
    {
        return std::any_of(m_entries.begin(), m_entries.end(), [](const Entry& entry) {
            if (!entry.call.ended())
                return false;
            const auto outcome = entry.call.outcome();
            return !outcome && outcome.failure().kind == FailureKind::INTERRUPTED;
        });
    }
    void waitForOne()
    {
        const std::size_t before = m_entries.size();
        handOver();
        if (m_entries.size() == before && !m_entries.empty())
            m_bell->wait();
    }
    void handOver()
    {
        while (!m_entries.empty() && m_entries.front().call.ended()) {
            const Entry first = std::move(m_entries.front());
            m_entries.pop_front();
            m_end(*first.item, first.call.outcome());
        }
    }

    const std::size_t m_count;
    const End m_end;
    const std::shared_ptr<Bell> m_bell;
    std::deque<Entry> m_entries;
    bool m_cancelled = false;
};

} // namespace kinloom

#endif
