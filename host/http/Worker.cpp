// SPDX-License-Identifier: MIT
#include "http/Worker.h"

#include "W/WStatus.h"
#include "http/Options.h"
#include "http/RequestCheck.h"
#include "http/SignalBlock.h"
#include "http/Transfer.h"

#include <algorithm>
#include <cstdlib>
#include <pthread.h>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

using std::chrono::milliseconds;

/// Idle connections are kept up to this number, at least.
constexpr std::size_t MIN_CONNECTIONS = 64;
/// Whatever there is to do ends a wait, so any length will do.
constexpr milliseconds LONGEST_SLEEP(60'000);
/// How long the end of the process waits for a completion that is running.
constexpr milliseconds EXIT_PATIENCE(2'000);

thread_local bool t_onWorker = false;

EasyHandle* easyOf(CURL* curl)
{
    void* easy = nullptr;
    curl_easy_getinfo(curl, CURLINFO_PRIVATE, &easy);
    return static_cast<EasyHandle*>(easy);
}

} // namespace

Worker& Worker::instance()
{
    static Worker* const worker = new Worker;
    return *worker;
}

bool Worker::isCurrentThread() { return t_onWorker; }

WSTATUS Worker::add(HttpRequest* request)
{
    if (!request || !request->impl().completion)
        return WSTATUS_INVALID_ARGUMENT;
    const WSTATUS checked = checkRequest(*request);
    if (checked < 0)
        return checked;
    HttpRequest::Impl& impl = request->impl();
    impl.transfer.options = currentOptions();
    const HttpOptions& options = impl.transfer.options->values();

    bool wakeUp = false;
    {
        const MutexLock lock(m_mutex);
        if (m_stopping || m_accepted >= options.maxRequests || !start())
            return WSTATUS_NOT_CREATED;
        ++m_accepted;
        impl.sequence = m_nextSequence++;
        impl.loop.store(m_multi);
        // A worker that drives transfers looks into the queue when it is done with them; one that has no room, when there is some.
        wakeUp = m_polling && m_runningCount < options.maxTransfers;
        if (wakeUp)
            m_polling = false;
        m_queued.append(request);
    }
    // The request may have ended already.
    if (wakeUp)
        curl_multi_wakeup(m_multi);
    else
        m_work.notifyOne();
    return WSTATUS_OK;
}

/// Starts the worker, unless it runs.
bool Worker::start()
{
    if (m_thread.joinable())
        return true;
    if (!initialiseCurl() || !(m_multi || (m_multi = curl_multi_init())))
        return false;
    try {
        // The process's signals go to its other threads.
        const AllSignalsBlocked blocked;
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
        return false;
    }
    pthread_setname_np(m_thread.native_handle(), "whost-http");
    // Registered after the exit functions of libcurl's own libraries, so it is called before them.
    std::atexit(stopAtExit);
    return true;
}

void Worker::noticeCancel(CURLM* loop) noexcept
{
    m_cancelPosted.store(true);
    if (loop)
        curl_multi_wakeup(loop);
}

void Worker::run()
{
    t_onWorker = true;
    const MutexLock lock(m_mutex);
    for (;;) {
        while (!hasTurn())
            m_work.wait(m_mutex);
        if (m_stopping)
            break;
        RequestList fresh;
        takeFresh(fresh);
        m_engine.take();
        const bool waits = fresh.empty() && m_ended.empty();
        m_polling = waits;
        bool cancels = false;
        {
            const MutexUnlock unlocked(m_mutex);
            cancels = driveOnce(fresh, waits);
        }
        m_polling = false;
        if (cancels)
            endCancelledInQueue();
        releaseEngine();
        runCompletions();
    }
    m_engine.take();
    {
        const MutexUnlock unlocked(m_mutex);
        abandonTransfers();
    }
    // A plugin that is destroyed after this still has its requests deleted by its flush.
    releaseEngine();
    m_stopped = true;
    m_changed.notifyAll();
}

/// True when there is something to do and nobody else has, or waits for, the engine.
bool Worker::hasTurn() const
{
    if (m_engine.isTaken() || m_engineWanted > 0)
        return false;
    return m_stopping || m_runningCount > 0 || !m_queued.empty() || !m_ended.empty();
}

/// Moves all transfers on as far as they get without waiting.
/// \param fresh requests to begin with. \param waits whether to wait for the network first.
/// \return whether a request may have been cancelled, so that the queue has to be looked through too.
bool Worker::driveOnce(RequestList& fresh, bool waits)
{
    if (waits)
        waitForNetwork();
    const Clock::time_point now = Clock::now();
    attach(fresh, now);
    driveTransfers(now);
    const bool cancels = m_cancelPosted.exchange(false);
    if (cancels)
        endCancelled();
    endStalled(now);
    return cancels;
}

/// Picks the queued requests that there is room for.
void Worker::takeFresh(RequestList& fresh)
{
    if (m_queued.empty())
        return;
    const std::size_t limit = currentOptions()->values().maxTransfers;
    for (; !m_queued.empty() && m_runningCount < limit; ++m_runningCount)
        fresh.append(m_queued.takeFirst());
}

/// Ends queued requests that were cancelled. Their turn could be far away while long transfers take all the room.
void Worker::endCancelledInQueue()
{
    RequestList cancelled;
    m_queued.moveTo(cancelled, [](const HttpRequest& request) { return request.impl().cancelled.load(); });
    for (HttpRequest* request = cancelled.first(); request; request = RequestList::after(request))
        endTransfer(*request, SESSION_CANCELLED);
    m_ended.splice(cancelled);
}

/// Gives the engine back, and passes on what ended while it was taken.
void Worker::releaseEngine()
{
    for (HttpRequest* request = m_justEnded.first(); request; request = RequestList::after(request))
        --m_runningCount;
    m_ended.splice(m_justEnded);
    m_engine.giveBack();
    if (m_engineWanted > 0)
        m_changed.notifyAll();
}

/// Tells the callees of all requests that have ended, one after the other and without the mutex.
void Worker::runCompletions()
{
    while (!m_stopping) {
        HttpRequest* const request = m_ended.takeFirst();
        if (!request)
            return;
        --m_accepted;
        m_completing = true;
        m_completingID = request->getID();
        m_completingSequence = request->impl().sequence;
        {
            const MutexUnlock unlocked(m_mutex);
            complete(request);
        }
        m_completing = false;
        m_changed.notifyAll();
    }
}

/// Hands an ended request to its callee, to whom it belongs from here on.
void Worker::complete(HttpRequest* request)
{
    HttpRequest::Impl& impl = request->impl();
    impl.loop.store(nullptr);
    try {
        impl.completion(impl.transfer.status, request, impl.context);
    } catch (...) {
        // A completion may not throw. One that does must not take the process and everybody else's requests with it.
    }
}

/// Gives the multi handle the limits of the options in force.
void Worker::applyLimits(const std::shared_ptr<const ClientOptions>& options)
{
    if (m_limits == options)
        return;
    const HttpOptions& values = options->values();
    const std::size_t connections = std::max(values.maxTransfers, MIN_CONNECTIONS);
    curl_multi_setopt(m_multi, CURLMOPT_MAXCONNECTS, static_cast<long>(connections));
    curl_multi_setopt(m_multi, CURLMOPT_MAX_HOST_CONNECTIONS, values.maxConnectionsPerHost);
    m_limits = options;
}

void Worker::attach(RequestList& fresh, Clock::time_point now)
{
    while (HttpRequest* const request = fresh.takeFirst()) {
        HttpRequest::Impl& impl = request->impl();
        m_running.append(request);
        applyLimits(impl.transfer.options);
        SESSION_STATUS status = beginTransfer(*request, m_connections, now);
        if (status == SESSION_DONE && curl_multi_add_handle(m_multi, impl.easy->curl) != CURLM_OK)
            status = SESSION_NOT_CREATED;
        if (status != SESSION_DONE) {
            end(request, status);
            continue;
        }
        const Clock::duration interval = stallInterval(*impl.transfer.options);
        if (interval != Clock::duration::zero())
            m_nextLook = std::min(m_nextLook, now + interval);
    }
}

void Worker::waitForNetwork()
{
    milliseconds wait = LONGEST_SLEEP;
    if (m_nextLook != Clock::time_point::max())
        wait = std::clamp(std::chrono::ceil<milliseconds>(m_nextLook - Clock::now()), milliseconds(0), LONGEST_SLEEP);
    curl_multi_poll(m_multi, nullptr, 0, static_cast<int>(wait.count()), nullptr);
}

void Worker::driveTransfers(Clock::time_point now)
{
    int running = 0;
    curl_multi_perform(m_multi, &running);
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(m_multi, &left)) {
        if (message->msg != CURLMSG_DONE)
            continue;
        // The message is gone once the handle is.
        const CURLcode result = message->data.result;
        CURL* const curl = message->easy_handle;
        HttpRequest* const request = easyOf(curl)->request;
        curl_multi_remove_handle(m_multi, curl);
        if (!endHop(*request, result, now)) {
            if (curl_multi_add_handle(m_multi, curl) == CURLM_OK)
                continue;
            endTransfer(*request, SESSION_NOT_CREATED);
        }
        m_running.remove(request);
        m_justEnded.append(request);
    }
}

void Worker::endCancelled()
{
    for (HttpRequest* request = m_running.first(); request;) {
        HttpRequest* const next = RequestList::after(request);
        if (request->impl().cancelled.load())
            end(request, SESSION_CANCELLED);
        request = next;
    }
}

void Worker::endStalled(Clock::time_point now)
{
    if (now < m_nextLook)
        return;
    m_nextLook = Clock::time_point::max();
    for (HttpRequest* request = m_running.first(); request;) {
        HttpRequest* const next = RequestList::after(request);
        const Clock::duration interval = stallInterval(*request->impl().transfer.options);
        if (stalls(*request, now))
            end(request, SESSION_TIMED_OUT);
        else if (interval != Clock::duration::zero())
            m_nextLook = std::min(m_nextLook, now + interval);
        request = next;
    }
}

/// Ends a running request for a reason of the client's own.
void Worker::end(HttpRequest* request, SESSION_STATUS status)
{
    // Removing a handle that was not added does nothing.
    if (EasyHandle* const easy = request->impl().easy.get())
        curl_multi_remove_handle(m_multi, easy->curl);
    endTransfer(*request, status);
    m_running.remove(request);
    m_justEnded.append(request);
}

/// Lets go of all transfers, so that no temporary file outlives the process. Their completions are not called.
void Worker::abandonTransfers()
{
    while (HttpRequest* const request = m_running.first())
        end(request, SESSION_CANCELLED);
}

void Worker::stopAtExit() { instance().stop(); }

void Worker::stop()
{
    // A completion that calls exit cannot wait for itself.
    if (t_onWorker)
        return;
    std::thread ended;
    {
        const MutexLock lock(m_mutex);
        m_stopping = true;
        m_work.notifyOne();
        curl_multi_wakeup(m_multi);
        const Clock::time_point end = Clock::now() + EXIT_PATIENCE;
        for (bool inTime = true; !m_stopped && inTime;)
            inTime = m_changed.waitUntil(m_mutex, end);
        if (!m_stopped)
            return;
        ended.swap(m_thread);
    }
    ended.join();
}

} // namespace http
} // namespace W
