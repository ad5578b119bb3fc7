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
template <class Pick> std::vector<HttpRequest*> Stage::takeOut(Lock&, Pick&& picks)
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
void Stage::destroy(Lock& lock, unsigned long long id, const std::vector<HttpRequest*>& doomed)
{
    ++m_deleting[id];
    lock.unlock();
    ++t_deleting;
    for (const HttpRequest* const request : doomed)
        delete request;
    --t_deleting;
    lock.lock();
    --m_deleting[id];
    m_changed.notify_all();
}

void Stage::flush(unsigned long long id)
{
    Lock lock(m_mutex);
    m_script.flushes.push_back(id);
    if (m_script.flush == Flush::KEEPS)
        return;
    const std::uint64_t before = m_nextSequence;
    const std::vector<HttpRequest*> taken =
        takeOut(lock, [&](const HttpRequest& request) { return request.getID() == id && request.impl().sequence < before; });
    if (m_script.flush == Flush::DEFERS) {
        m_dropped.insert(m_dropped.end(), taken.begin(), taken.end());
        return;
    }
    destroy(lock, id, taken);
    if (onWorker() || t_deleting > 0)
        return;
    m_changed.wait(lock,
                   [&] { return m_deleting[id] == 0 && !(m_completing && m_completingID == id && m_completingSequence < before); });
}

void Stage::flushWith(Flush flush)
{
    const Lock lock(m_mutex);
    m_script.flush = flush;
}

std::size_t Stage::deleteDropped()
{
    Lock lock(m_mutex);
    const std::vector<HttpRequest*> dropped = std::move(m_dropped);
    m_dropped.clear();
    destroy(lock, 0, dropped);
    return dropped.size();
}

void Stage::reset()
{
    deleteDropped();
    Lock lock(m_mutex);
    for (auto& [request, job] : m_jobs)
        if (job.executed && !job.ready)
            makeReady(*request, job, failure(SESSION_CANCELLED));
    destroy(lock, 0, takeOut(lock, [](const HttpRequest&) { return true; }));
    if (!onWorker())
        m_changed.wait(lock, [&] { return !m_completing; });
    m_script = Script();
}

void Stage::answerAll(const Answer& answer)
{
    const Lock lock(m_mutex);
    m_script.usual = answer;
}

void Stage::answerNext(const Answer& answer)
{
    const Lock lock(m_mutex);
    m_script.next.push_back(answer);
}

void Stage::answerWith(std::function<Answer(const Seen&)> rule)
{
    const Lock lock(m_mutex);
    m_script.rule = std::move(rule);
}

void Stage::refuseNext(WSTATUS status, std::size_t times)
{
    const Lock lock(m_mutex);
    m_script.refusal = times > 0 ? status : 0;
    m_script.refusalsLeft = times;
}

void Stage::refuseAll(WSTATUS status)
{
    const Lock lock(m_mutex);
    m_script.refusal = status;
    m_script.refusalsLeft = 0;
}

void Stage::checkRequests(bool check)
{
    const Lock lock(m_mutex);
    m_script.checks = check;
}

void Stage::failConstruction(std::size_t after)
{
    const Lock lock(m_mutex);
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
    const Lock lock(m_mutex);
    HttpRequest* const request = waiting(number);
    if (request)
        makeReady(*request, m_jobs[request], answer);
    return request != nullptr;
}

std::size_t Stage::answerHeld(const Answer& answer)
{
    const Lock lock(m_mutex);
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
    const Lock lock(m_mutex);
    HttpRequest* const request = waiting(number);
    if (!request)
        return false;
    request->impl().bytesDone.store(done);
    request->impl().bytesTotal.store(total);
    return true;
}

std::vector<Seen> Stage::requests()
{
    const Lock lock(m_mutex);
    return m_script.seen;
}

std::vector<Seen> Stage::refusals()
{
    const Lock lock(m_mutex);
    return m_script.refused;
}

std::size_t Stage::heldCount()
{
    const Lock lock(m_mutex);
    return static_cast<std::size_t>(std::count_if(m_jobs.begin(), m_jobs.end(), [](const auto& job) { return !job.second.ready; }));
}

std::size_t Stage::completionCount()
{
    const Lock lock(m_mutex);
    return m_script.completions;
}

std::vector<unsigned long long> Stage::flushes()
{
    const Lock lock(m_mutex);
    return m_script.flushes;
}

std::size_t Stage::liveRequests()
{
    const Lock lock(m_mutex);
    return m_live;
}

bool Stage::waitForRequests(std::size_t count, std::chrono::milliseconds patience)
{
    Lock lock(m_mutex);
    return m_changed.wait_for(lock, patience, [&] { return m_script.seen.size() >= count; });
}

bool Stage::waitForCompletions(std::size_t count, std::chrono::milliseconds patience)
{
    Lock lock(m_mutex);
    return m_changed.wait_for(lock, patience, [&] { return m_script.completions >= count; });
}

bool Stage::waitUntilIdle(std::chrono::milliseconds patience)
{
    Lock lock(m_mutex);
    return m_changed.wait_for(lock, patience, [&] { return m_ready.empty() && !m_completing; });
}

} // namespace fake
} // namespace W
