// SPDX-License-Identifier: MIT
/// \file The client's engine: queue, transfers, completions, flushes.
#ifndef HTTP_WORKER_H
#define HTTP_WORKER_H

#include "Mutex.h"
#include "http/Connections.h"
#include "http/RequestList.h"

#include <atomic>
#include <thread>

namespace W {
namespace WHOST_INTERNAL http {

/// Runs requests on one thread with one libcurl multi handle.
///
/// A request is in one of three lists: queued, running (known to the multi handle), or ended (waiting for its completion). When its
/// completion begins it leaves them all, and belongs to the completion. One mutex guards queue, ended requests and counts, and is
/// held for moments only. The engine (the multi handle and the list of running requests) has one owner at a time: the worker while
/// it drives transfers or waits for the network, or a flushing thread that takes running requests out. The worker does not own it
/// while a completion runs, so a flush never waits for the completion of somebody else's request. No lock is held and the engine is
/// not owned while a completion or a request's destructor runs.
///
/// There is one worker for the process. It is never destroyed.
class Worker {
public:
    static Worker& instance();

    /// See HttpDelegator::addRequest.
    WSTATUS add(HttpRequest* request) EXCLUDES(m_mutex);
    /// See HttpDelegator::flushHttpRequests.
    void flush(unsigned long long id) EXCLUDES(m_mutex);
    /// Has the worker look for cancelled requests. Any thread; takes no lock.
    void noticeCancel(CURLM* loop) noexcept;
    /// True on the worker's own thread.
    static bool isCurrentThread();

private:
    Worker() = default;

    /// A flush that is deleting requests.
    struct Deletion {
        unsigned long long id;
        Deletion* next;
    };

    bool start() REQUIRES(m_mutex);
    void run() EXCLUDES(m_mutex);

    // On the worker.
    bool hasTurn() const REQUIRES(m_mutex);
    void takeFresh(RequestList& fresh) REQUIRES(m_mutex);
    void endCancelledInQueue() REQUIRES(m_mutex);
    void runCompletions() REQUIRES(m_mutex);
    void complete(HttpRequest* request) EXCLUDES(m_mutex);
    void releaseEngine() REQUIRES(m_mutex) RELEASE(m_engine);

    // On the worker, with the engine.
    bool driveOnce(RequestList& fresh, bool waits) REQUIRES(m_engine) EXCLUDES(m_mutex);
    void applyLimits(const std::shared_ptr<const ClientOptions>& options) REQUIRES(m_engine);
    void attach(RequestList& fresh, Clock::time_point now) REQUIRES(m_engine);
    void waitForNetwork() REQUIRES(m_engine);
    void driveTransfers(Clock::time_point now) REQUIRES(m_engine);
    void endCancelled() REQUIRES(m_engine);
    void endStalled(Clock::time_point now) REQUIRES(m_engine);
    void end(HttpRequest* request, SESSION_STATUS status) REQUIRES(m_engine);
    void abandonTransfers() REQUIRES(m_engine) EXCLUDES(m_mutex);

    // On a flushing thread, or on the worker during a completion. Those that delete or wait let go of the mutex meanwhile.
    void collectRunning(unsigned long long id, std::uint64_t before, RequestList& doomed) REQUIRES(m_mutex);
    std::size_t takeRunning(unsigned long long id, std::uint64_t before, RequestList& doomed) REQUIRES(m_engine) EXCLUDES(m_mutex);
    void collectEnded(unsigned long long id, std::uint64_t before, RequestList& doomed) REQUIRES(m_mutex);
    void deleteAll(unsigned long long id, RequestList& doomed) REQUIRES(m_mutex);
    void deleteUnlocked(RequestList& doomed) EXCLUDES(m_mutex);
    bool isCompleting(unsigned long long id, std::uint64_t before) const REQUIRES(m_mutex);
    bool isDeleting(unsigned long long id) const REQUIRES(m_mutex);

    static void stopAtExit();
    void stop() EXCLUDES(m_mutex);

    Mutex m_mutex;
    Condition m_work;    ///< for the worker: something to do, or the engine is free
    Condition m_changed; ///< for flushing threads: the engine is free, a completion or a deletion is over

    RequestList m_queued GUARDED_BY(m_mutex);
    RequestList m_ended GUARDED_BY(m_mutex);
    bool m_completing GUARDED_BY(m_mutex) = false; ///< a completion runs; the next two are its request's
    unsigned long long m_completingID GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_completingSequence GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_nextSequence GUARDED_BY(m_mutex) = 1; ///< place in the order of queueing
    std::size_t m_accepted GUARDED_BY(m_mutex) = 0;       ///< queued, running and ended requests
    std::size_t m_runningCount GUARDED_BY(m_mutex) = 0;
    Deletion* m_deletions GUARDED_BY(m_mutex) = nullptr;
    unsigned int m_engineWanted GUARDED_BY(m_mutex) = 0; ///< flushing threads that wait for the engine; they go first
    bool m_polling GUARDED_BY(m_mutex) = false;          ///< the worker waits for the network
    bool m_stopping GUARDED_BY(m_mutex) = false;
    bool m_stopped GUARDED_BY(m_mutex) = false;
    std::thread m_thread GUARDED_BY(m_mutex);

    /// The right to everything below. Who has it is agreed on under the mutex.
    Ownership m_engine GUARDED_BY(m_mutex);
    Connections m_connections GUARDED_BY(m_engine);
    RequestList m_running GUARDED_BY(m_engine);
    RequestList m_justEnded GUARDED_BY(m_engine); ///< ended since the engine was taken
    Clock::time_point m_nextLook GUARDED_BY(m_engine) = Clock::time_point::max();
    std::shared_ptr<const ClientOptions> m_limits GUARDED_BY(m_engine); ///< whose limits the multi handle has

    /// Made under the mutex before the worker starts, and never changed or destroyed, so the pointer may be read without it. What
    /// it points to is the engine's, but for curl_multi_wakeup, which any thread may call.
    CURLM* m_multi = nullptr;

    std::atomic<bool> m_cancelPosted{false};
};

} // namespace http
} // namespace W

#endif
