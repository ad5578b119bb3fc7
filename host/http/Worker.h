// SPDX-License-Identifier: MIT
/// \file The client's engine: queue, transfers, completions, flushes.
#ifndef HTTP_WORKER_H
#define HTTP_WORKER_H

#include "http/Connections.h"
#include "http/RequestList.h"

#include <condition_variable>
#include <mutex>
#include <thread>

namespace W {
namespace WHOST_INTERNAL http {

/// Runs requests on one thread with one libcurl multi handle.
///
/// A request is in one of three lists: queued, running (known to the multi handle), ended (waiting for its completion); or it is
/// the one that is completing, which belongs to its callee already. One mutex guards the lists and is held for moments only. The
/// engine (the multi handle and the list of running requests) has one owner at a time: the worker while it drives transfers or
/// waits for the network, or a flushing thread that takes running requests out. The worker does not own it while a completion runs,
/// so a flush never waits for the completion of somebody else's request. No lock is held and the engine is not owned while a
/// completion or a request's destructor runs.
///
/// There is one worker for the process. It is never destroyed.
class Worker {
public:
    static Worker& instance();

    /// See HttpDelegator::addRequest.
    WSTATUS add(HttpRequest* request);
    /// See HttpDelegator::flushHttpRequests.
    void flush(unsigned long long id);
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
    using Lock = std::unique_lock<std::mutex>;

    bool start();
    void run();

    // With the mutex held.
    void takeFresh(RequestList& fresh);
    void endCancelledInQueue();
    void runCompletions(Lock& lock);
    void releaseEngine();

    // With the engine, on the worker.
    void applyLimits(const std::shared_ptr<const ClientOptions>& options);
    void attach(RequestList& fresh, Clock::time_point now);
    void waitForNetwork();
    void driveTransfers(Clock::time_point now);
    void endCancelled();
    void endStalled(Clock::time_point now);
    void end(HttpRequest* request, SESSION_STATUS status);
    void abandonTransfers();

    // On a flushing thread, or on the worker during a completion.
    void collectRunning(Lock& lock, unsigned long long id, std::uint64_t before, RequestList& doomed);
    void collectEnded(unsigned long long id, std::uint64_t before, RequestList& doomed);
    void deleteAll(Lock& lock, unsigned long long id, RequestList& doomed);
    bool isDeleting(unsigned long long id) const;

    static void stopAtExit();
    void stop();

    std::mutex m_mutex;
    std::condition_variable m_work;    ///< for the worker: something to do, or the engine is free
    std::condition_variable m_changed; ///< for flushing threads: the engine is free, a completion or a deletion is over

    // Guarded by the mutex.
    RequestList m_queued;
    RequestList m_ended;
    bool m_completing = false; ///< a completion runs; it is of this tag and of this place in the order of queueing:
    unsigned long long m_completingID = 0;
    std::uint64_t m_completingSequence = 0;
    std::uint64_t m_nextSequence = 1;
    std::size_t m_accepted = 0; ///< queued, running and ended requests
    std::size_t m_runningCount = 0;
    Deletion* m_deletions = nullptr;
    bool m_engineOwned = false;
    unsigned int m_engineWanted = 0; ///< flushing threads that wait for the engine; they go first
    bool m_polling = false;          ///< the worker waits for the network
    bool m_stopping = false;
    bool m_stopped = false;

    // The engine's.
    CURLM* m_multi = nullptr; ///< made before the worker starts and never destroyed; waking it up takes no ownership
    Connections m_connections;
    RequestList m_running;
    RequestList m_justEnded; ///< ended since the engine was taken
    Clock::time_point m_nextLook = Clock::time_point::max();
    std::shared_ptr<const ClientOptions> m_limits; ///< whose limits the multi handle has

    std::thread m_thread;
    std::atomic<bool> m_cancelPosted{false};
};

} // namespace http
} // namespace W

#endif
