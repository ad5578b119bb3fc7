// SPDX-License-Identifier: MIT
#include "operations/ChangeWatch.h"

#include "core/Log.h"
#include "store/Changes.h"
#include "store/Sessions.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <map>
#include <optional>
#include <sys/eventfd.h>
#include <tuple>
#include <unistd.h>

namespace kinloomd {

namespace {

constexpr std::chrono::seconds LOOK_TIME{1}; ///< between two looks for what others have changed

} // namespace

ChangeWatch::Bell::Bell(ChangeWatch& watch, Follower follower)
    : m_watch(watch), m_follower(std::move(follower)), m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_event)
        throwSystemError("make", "an event descriptor");
    const std::lock_guard<std::mutex> lock(m_watch.m_mutex);
    m_watch.makeRoomFor(m_follower);
    m_watch.m_bells.push_back(this);
    if (!m_watch.m_thread.joinable() && !m_watch.m_stopping)
        m_watch.m_thread = std::thread([&watch] { watch.look(); });
    m_watch.m_wake.notify_one();
}

ChangeWatch::Bell::~Bell()
{
    const std::lock_guard<std::mutex> lock(m_watch.m_mutex);
    auto& bells = m_watch.m_bells;
    bells.erase(std::find(bells.begin(), bells.end(), this));
}

void ChangeWatch::Bell::hush() const
{
    std::uint64_t rings = 0;
    [[maybe_unused]] const ssize_t drained = ::read(m_event.get(), &rings, sizeof rings);
}

void ChangeWatch::Bell::ring() const
{
    const std::uint64_t one = 1;
    // It can only fail when the counter is full, and then it is readable already.
    [[maybe_unused]] const ssize_t written = ::write(m_event.get(), &one, sizeof one);
}

ChangeWatch::~ChangeWatch()
{
    stop();
    if (m_thread.joinable())
        m_thread.join();
}

void ChangeWatch::ring()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ringAll();
}

void ChangeWatch::ringAll()
{
    for (const Bell* const bell : m_bells)
        bell->ring();
}

/// \param counts tells which followers the limit holds for.
template <typename Counts> void ChangeWatch::makeRoom(std::size_t limit, Counts counts)
{
    std::size_t all = 0;
    std::map<Id, std::size_t> ofPerson;
    const auto stays = [&](const Bell* bell) { return !bell->gaveWay() && counts(bell->m_follower); };
    for (const Bell* const bell : m_bells) {
        if (stays(bell)) {
            ++all;
            ++ofPerson[bell->m_follower.person];
        }
    }
    if (all < limit)
        return;
    std::size_t most = 0;
    for (const auto& [person, count] : ofPerson)
        most = std::max(most, count);
    const auto oldest = std::find_if(m_bells.begin(), m_bells.end(),
                                     [&](const Bell* bell) { return stays(bell) && ofPerson[bell->m_follower.person] == most; });
    if (oldest == m_bells.end())
        return;
    (*oldest)->m_gaveWay = true;
    (*oldest)->ring();
}

void ChangeWatch::makeRoomFor(const Follower& next)
{
    makeRoom(m_limits.ofSession, [&](const Follower& other) { return other.session == next.session; });
    makeRoom(m_limits.ofPerson, [&](const Follower& other) { return other.person == next.person; });
    makeRoom(m_limits.ofNetwork, [&](const Follower& other) { return other.network == next.network; });
    makeRoom(m_limits.all, [](const Follower&) { return true; });
}

void ChangeWatch::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
}

void ChangeWatch::look()
{
    // Changes that were made at the same time as the last one may appear behind it: they are counted.
    using Signs = std::tuple<Id, std::int64_t, std::int64_t>;
    Signs seen(-1, -1, -1);
    std::optional<ChangeHorizon> horizon;
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_stopping) {
        if (m_bells.empty()) {
            m_wake.wait(lock, [this] { return m_stopping || !m_bells.empty(); });
            continue;
        }
        lock.unlock();
        Signs last = seen;
        try {
            const auto connection = m_database.read();
            if (!horizon)
                horizon.emplace(m_database.longestChange(), settledChange(connection, m_database.longestChange()));
            const Id change = lastChange(connection);
            horizon->see(change, ChangeHorizon::Clock::now());
            last = {change, countChanges(connection, horizon->settled()), signOfSessions(connection)};
        } catch (const std::exception& error) {
            writeLog(Priority::FAILURE, std::string("cannot look for changes: ") + error.what());
        }
        lock.lock();
        if (last != seen)
            ringAll();
        seen = last;
        m_wake.wait_for(lock, LOOK_TIME, [this] { return m_stopping; });
    }
}

} // namespace kinloomd
