// SPDX-License-Identifier: MIT
/// \file Flushes, and what tests tell the scripted client and ask it.
#include "fake/Stage.h"

#include <algorithm>

namespace W {
namespace fake {

namespace {

/// How many flushes of this thread are deleting requests: a destructor may flush too.
thread_local int t_deleting = 0;

} // namespace

/// Takes queued requests out. \return them in the order of their queueing.
template <class Pick> std::vector<HttpRequest*> Stage::takeOut(Pick&& picks)
{
    http::RequestList picked;
    m_held.moveTo(picked, picks);
    m_ready.moveTo(picked, picks);
    std::vector<HttpRequest*> taken;
    while (HttpRequest* const request = picked.takeFirst()) {
        m_jobs.erase(request);
        taken.push_back(request);
    }
    std::sort(taken.begin(), taken.end(),
              [](const HttpRequest* a, const HttpRequest* b) { return a->impl().sequence < b->impl().sequence; });
    return taken;
}

/// Deletes requests without the mutex.
/// \param id whose flushes wait for that.
void Stage::destroy(unsigned long long id, const std::vector<HttpRequest*>& doomed)
{
    ++m_deleting[id];
    {
        const MutexUnlock unlocked(m_mutex);
        deleteUnlocked(doomed);
    }
    --m_deleting[id];
    m_changed.notifyAll();
}

/// Destructors are the callers' code, so no lock is held.
void Stage::deleteUnlocked(const std::vector<HttpRequest*>& doomed)
{
    ++t_deleting;
    for (const HttpRequest* const request : doomed)
        delete request;
    --t_deleting;
}

void Stage::flush(unsigned long long id)
{
    const MutexLock lock(m_mutex);
    m_script.flushes.push_back(id);
    if (m_script.flush == Flush::KEEPS)
        return;
    const std::uint64_t before = m_nextSequence;
    const std::vector<HttpRequest*> taken =
        takeOut([&](const HttpRequest& request) { return request.getID() == id && request.impl().sequence < before; });
    if (m_script.flush == Flush::DEFERS) {
        m_dropped.insert(m_dropped.end(), taken.begin(), taken.end());
        return;
    }
    destroy(id, taken);
    if (onWorker() || t_deleting > 0)
        return;
    while (!isFlushed(id, before))
        m_changed.wait(m_mutex);
}

/// True when no request of that tag that was queued before a place in the order completes, and no flush is deleting any.
bool Stage::isFlushed(unsigned long long id, std::uint64_t before)
{
    return m_deleting[id] == 0 && !(m_completing && m_completingID == id && m_completingSequence < before);
}

void Stage::flushWith(Flush flush)
{
    const MutexLock lock(m_mutex);
    m_script.flush = flush;
}

std::size_t Stage::deleteDropped()
{
    const MutexLock lock(m_mutex);
    const std::vector<HttpRequest*> dropped = std::move(m_dropped);
    m_dropped.clear();
    destroy(0, dropped);
    return dropped.size();
}

void Stage::reset()
{
    deleteDropped();
    const MutexLock lock(m_mutex);
    for (auto& [request, job] : m_jobs)
        if (job.executed && !job.ready)
            makeReady(*request, job, failure(SESSION_CANCELLED));
    destroy(0, takeOut([](const HttpRequest&) { return true; }));
    while (!onWorker() && m_completing)
        m_changed.wait(m_mutex);
    m_script = Script();
}

void Stage::answerAll(const Answer& answer)
{
    const MutexLock lock(m_mutex);
    m_script.usual = answer;
}

void Stage::answerNext(const Answer& answer)
{
    const MutexLock lock(m_mutex);
    m_script.next.push_back(answer);
}

void Stage::answerWith(std::function<Answer(const Seen&)> rule)
{
    const MutexLock lock(m_mutex);
    m_script.rule = std::move(rule);
}

void Stage::refuseNext(WSTATUS status, std::size_t times)
{
    const MutexLock lock(m_mutex);
    m_script.refusal = times > 0 ? status : 0;
    m_script.refusalsLeft = times;
}

void Stage::refuseAll(WSTATUS status)
{
    const MutexLock lock(m_mutex);
    m_script.refusal = status;
    m_script.refusalsLeft = 0;
}

void Stage::checkRequests(bool check)
{
    const MutexLock lock(m_mutex);
    m_script.checks = check;
}

void Stage::failConstruction(std::size_t after)
{
    const MutexLock lock(m_mutex);
    m_script.constructionsUntilFailure = after;
}

HttpRequest* Stage::waiting(std::size_t number)
{
    for (const auto& [request, job] : m_jobs)
        if (job.number == number && !job.ready)
            return request;
    return nullptr;
}

bool Stage::answer(std::size_t number, const Answer& answer)
{
    const MutexLock lock(m_mutex);
    HttpRequest* const request = waiting(number);
    if (request)
        makeReady(*request, m_jobs[request], answer);
    return request != nullptr;
}

std::size_t Stage::answerHeld(const Answer& answer)
{
    const MutexLock lock(m_mutex);
    std::map<std::size_t, HttpRequest*> byNumber;
    for (const auto& [request, job] : m_jobs)
        if (!job.ready)
            byNumber[job.number] = request;
    for (const auto& [number, request] : byNumber)
        makeReady(*request, m_jobs[request], answer);
    return byNumber.size();
}

bool Stage::setProgress(std::size_t number, double done, double total)
{
    const MutexLock lock(m_mutex);
    HttpRequest* const request = waiting(number);
    if (!request)
        return false;
    request->impl().bytesDone.store(done);
    request->impl().bytesTotal.store(total);
    return true;
}

std::vector<Seen> Stage::requests()
{
    const MutexLock lock(m_mutex);
    return m_script.seen;
}

std::vector<Seen> Stage::refusals()
{
    const MutexLock lock(m_mutex);
    return m_script.refused;
}

std::size_t Stage::heldCount()
{
    const MutexLock lock(m_mutex);
    return static_cast<std::size_t>(std::count_if(m_jobs.begin(), m_jobs.end(), [](const auto& job) { return !job.second.ready; }));
}

std::size_t Stage::completionCount()
{
    const MutexLock lock(m_mutex);
    return m_script.completions;
}

std::vector<unsigned long long> Stage::flushes()
{
    const MutexLock lock(m_mutex);
    return m_script.flushes;
}

std::size_t Stage::liveRequests()
{
    const MutexLock lock(m_mutex);
    return m_live;
}

bool Stage::waitForRequests(std::size_t count, std::chrono::milliseconds patience)
{
    const MutexLock lock(m_mutex);
    const Condition::Clock::time_point end = Condition::Clock::now() + patience;
    for (bool inTime = true; inTime && m_script.seen.size() < count;)
        inTime = m_changed.waitUntil(m_mutex, end);
    return m_script.seen.size() >= count;
}

bool Stage::waitForCompletions(std::size_t count, std::chrono::milliseconds patience)
{
    const MutexLock lock(m_mutex);
    const Condition::Clock::time_point end = Condition::Clock::now() + patience;
    for (bool inTime = true; inTime && m_script.completions < count;)
        inTime = m_changed.waitUntil(m_mutex, end);
    return m_script.completions >= count;
}

bool Stage::waitUntilIdle(std::chrono::milliseconds patience)
{
    const MutexLock lock(m_mutex);
    const Condition::Clock::time_point end = Condition::Clock::now() + patience;
    for (bool inTime = true; inTime && (!m_ready.empty() || m_completing);)
        inTime = m_changed.waitUntil(m_mutex, end);
    return m_ready.empty() && !m_completing;
}

} // namespace fake
} // namespace W
