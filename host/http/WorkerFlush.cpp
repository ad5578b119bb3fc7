// SPDX-License-Identifier: MIT
#include "http/Worker.h"

namespace W {
namespace WHOST_INTERNAL http {

namespace {

/// How many flushes of this thread are deleting requests: a destructor may flush too.
thread_local int t_deleting = 0;

/// Puts a request where its turn in the order of queueing is.
void insertInOrder(RequestList& list, HttpRequest* request)
{
    RequestList later;
    while (list.last() && list.last()->impl().sequence > request->impl().sequence)
        later.prepend(list.takeLast());
    list.append(request);
    list.splice(later);
}

} // namespace

void Worker::flush(unsigned long long id)
{
    const MutexLock lock(m_mutex);
    // What is queued from now on, by others or by a completion that is running, is not meant.
    const std::uint64_t before = m_nextSequence;
    RequestList queued;
    m_queued.moveTo(queued, [id](const HttpRequest& request) { return request.getID() == id; });
    RequestList doomed;
    if (m_runningCount > 0)
        collectRunning(id, before, doomed);
    collectEnded(id, before, doomed);
    doomed.splice(queued);
    deleteAll(id, doomed);

    // The worker cannot wait for its own completion, nor a destructor for the flush that called it.
    if (isCurrentThread() || t_deleting > 0)
        return;
    while (isCompleting(id, before) || isDeleting(id))
        m_changed.wait(m_mutex);
}

/// Takes requests out of the multi handle. The worker gives the engine up for that.
void Worker::collectRunning(unsigned long long id, std::uint64_t before, RequestList& doomed)
{
    ++m_engineWanted;
    if (m_polling) {
        m_polling = false;
        curl_multi_wakeup(m_multi);
    }
    while (m_engine.isTaken())
        m_changed.wait(m_mutex);
    --m_engineWanted;
    m_engine.take();
    std::size_t count = 0;
    {
        const MutexUnlock unlocked(m_mutex);
        count = takeRunning(id, before, doomed);
    }
    m_runningCount -= count;
    m_engine.giveBack();
    m_changed.notifyAll();
    m_work.notifyOne();
}

/// Moves running requests out of the multi handle. \return how many.
std::size_t Worker::takeRunning(unsigned long long id, std::uint64_t before, RequestList& doomed)
{
    RequestList taken;
    m_running.moveTo(taken, [&](const HttpRequest& request) { return request.getID() == id && request.impl().sequence < before; });
    std::size_t count = 0;
    for (HttpRequest* request = taken.first(); request; request = RequestList::after(request), ++count) {
        if (EasyHandle* const easy = request->impl().easy.get())
            curl_multi_remove_handle(m_multi, easy->curl);
        request->impl().transfer.file.discard();
    }
    doomed.splice(taken);
    return count;
}

/// Takes requests that have ended but whose completions have not begun.
void Worker::collectEnded(unsigned long long id, std::uint64_t before, RequestList& doomed)
{
    RequestList ended;
    m_ended.moveTo(ended, [&](const HttpRequest& request) { return request.getID() == id && request.impl().sequence < before; });
    while (HttpRequest* const request = ended.takeFirst())
        insertInOrder(doomed, request);
}

/// Deletes requests, and has other flushes of the tag know of it.
void Worker::deleteAll(unsigned long long id, RequestList& doomed)
{
    if (doomed.empty())
        return;
    for (const HttpRequest* request = doomed.first(); request; request = RequestList::after(request))
        --m_accepted;
    Deletion deletion{id, m_deletions};
    m_deletions = &deletion;
    {
        const MutexUnlock unlocked(m_mutex);
        deleteUnlocked(doomed);
    }
    Deletion** link = &m_deletions;
    while (*link != &deletion)
        link = &(*link)->next;
    *link = deletion.next;
    m_changed.notifyAll();
}

/// Destructors are the callers' code, so no lock is held.
void Worker::deleteUnlocked(RequestList& doomed)
{
    ++t_deleting;
    while (HttpRequest* const request = doomed.takeFirst())
        delete request;
    --t_deleting;
}

/// True while a completion of that tag runs whose request was queued before a place in the order.
bool Worker::isCompleting(unsigned long long id, std::uint64_t before) const
{
    return m_completing && m_completingID == id && m_completingSequence < before;
}

bool Worker::isDeleting(unsigned long long id) const
{
    for (const Deletion* deletion = m_deletions; deletion; deletion = deletion->next)
        if (deletion->id == id)
            return true;
    return false;
}

} // namespace http
} // namespace W
