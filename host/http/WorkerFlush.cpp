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
    Lock lock(m_mutex);
    // What is queued from now on, by others or by a completion that is running, is not meant.
    const std::uint64_t before = m_nextSequence;
    RequestList queued;
    m_queued.moveTo(queued, [id](const HttpRequest& request) { return request.getID() == id; });
    RequestList doomed;
    if (m_runningCount > 0)
        collectRunning(lock, id, before, doomed);
    collectEnded(id, before, doomed);
    doomed.splice(queued);
    deleteAll(lock, id, doomed);

    // The worker cannot wait for its own completion, nor a destructor for the flush that called it.
    if (isCurrentThread() || t_deleting > 0)
        return;
    m_changed.wait(lock, [&] {
        const bool completing = m_completing && m_completingID == id && m_completingSequence < before;
        return !completing && !isDeleting(id);
    });
}

/// Takes requests out of the multi handle, which the worker lends for that.
void Worker::collectRunning(Lock& lock, unsigned long long id, std::uint64_t before, RequestList& doomed)
{
    ++m_engineWanted;
    if (m_polling) {
        m_polling = false;
        curl_multi_wakeup(m_multi);
    }
    m_changed.wait(lock, [this] { return !m_engineOwned; });
    --m_engineWanted;
    m_engineOwned = true;
    lock.unlock();

    RequestList taken;
    m_running.moveTo(taken, [&](const HttpRequest& request) { return request.getID() == id && request.impl().sequence < before; });
    std::size_t count = 0;
    for (HttpRequest* request = taken.first(); request; request = RequestList::after(request), ++count) {
        if (EasyHandle* const easy = request->impl().easy.get())
            curl_multi_remove_handle(m_multi, easy->curl);
        request->impl().transfer.file.discard();
    }
    doomed.splice(taken);

    lock.lock();
    m_runningCount -= count;
    m_engineOwned = false;
    m_changed.notify_all();
    m_work.notify_one();
}

/// Takes requests that have ended but whose completions have not begun.
void Worker::collectEnded(unsigned long long id, std::uint64_t before, RequestList& doomed)
{
    RequestList ended;
    m_ended.moveTo(ended, [&](const HttpRequest& request) { return request.getID() == id && request.impl().sequence < before; });
    while (HttpRequest* const request = ended.takeFirst())
        insertInOrder(doomed, request);
}

/// Deletes without any lock: destructors are the callers' code.
void Worker::deleteAll(Lock& lock, unsigned long long id, RequestList& doomed)
{
    if (doomed.empty())
        return;
    for (const HttpRequest* request = doomed.first(); request; request = RequestList::after(request))
        --m_accepted;
    Deletion deletion{id, m_deletions};
    m_deletions = &deletion;
    lock.unlock();

    ++t_deleting;
    while (HttpRequest* const request = doomed.takeFirst())
        delete request;
    --t_deleting;

    lock.lock();
    Deletion** link = &m_deletions;
    while (*link != &deletion)
        link = &(*link)->next;
    *link = deletion.next;
    m_changed.notify_all();
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
