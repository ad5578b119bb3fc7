// SPDX-License-Identifier: MIT
/// \file The scripted client's engine.
#ifndef FAKE_STAGE_H
#define FAKE_STAGE_H

#include "Mutex.h"
#include "http/RequestList.h"
#include "whost/FakeClient.h"

#include <deque>
#include <functional>
#include <map>

namespace W {
namespace fake {

/// Holds the script, the requests and the worker. One mutex guards everything; it is not held while a completion, a destructor or
/// the test's own rule runs. There is one stage for the process, and it is never destroyed.
class WHOST_INTERNAL Stage {
public:
    static Stage& instance();
    static bool onWorker();

    // For HttpDelegator and HttpRequest.
    WSTATUS add(HttpRequest* request) EXCLUDES(m_mutex);
    WSTATUS execute(HttpRequest& request) EXCLUDES(m_mutex);
    void flush(unsigned long long id) EXCLUDES(m_mutex);
    void cancel(HttpRequest& request) noexcept EXCLUDES(m_mutex);
    void requestIsMade() EXCLUDES(m_mutex);
    void requestIsGone() noexcept EXCLUDES(m_mutex);

    // For tests; see FakeClient.h.
    void reset() EXCLUDES(m_mutex);
    void answerAll(const Answer& answer) EXCLUDES(m_mutex);
    void answerNext(const Answer& answer) EXCLUDES(m_mutex);
    void answerWith(std::function<Answer(const Seen&)> rule) EXCLUDES(m_mutex);
    void refuseNext(WSTATUS status, std::size_t times) EXCLUDES(m_mutex);
    void refuseAll(WSTATUS status) EXCLUDES(m_mutex);
    void checkRequests(bool check) EXCLUDES(m_mutex);
    void failConstruction(std::size_t after) EXCLUDES(m_mutex);
    void flushWith(Flush flush) EXCLUDES(m_mutex);
    std::size_t deleteDropped() EXCLUDES(m_mutex);
    bool answer(std::size_t number, const Answer& answer) EXCLUDES(m_mutex);
    std::size_t answerHeld(const Answer& answer) EXCLUDES(m_mutex);
    bool setProgress(std::size_t number, double done, double total) EXCLUDES(m_mutex);
    std::vector<Seen> requests() EXCLUDES(m_mutex);
    std::vector<Seen> refusals() EXCLUDES(m_mutex);
    std::size_t heldCount() EXCLUDES(m_mutex);
    std::size_t completionCount() EXCLUDES(m_mutex);
    std::vector<unsigned long long> flushes() EXCLUDES(m_mutex);
    std::size_t liveRequests() EXCLUDES(m_mutex);
    bool waitForRequests(std::size_t count, std::chrono::milliseconds patience) EXCLUDES(m_mutex);
    bool waitForCompletions(std::size_t count, std::chrono::milliseconds patience) EXCLUDES(m_mutex);
    bool waitUntilIdle(std::chrono::milliseconds patience) EXCLUDES(m_mutex);

private:
    /// What tests set, and what they count.
    struct Script {
        Answer usual;
        std::deque<Answer> next;
        std::function<Answer(const Seen&)> rule;
        WSTATUS refusal = 0;
        std::size_t refusalsLeft = 0; ///< 0 with a refusal: all
        bool checks = true;
        Flush flush = Flush::DELETES;
        std::optional<std::size_t> constructionsUntilFailure;

        std::vector<Seen> seen;
        std::vector<Seen> refused;
        std::vector<unsigned long long> flushes;
        std::size_t completions = 0;
    };

    /// A request between its arrival and its end.
    struct Job {
        std::size_t number = 0;
        bool executed = false;
        bool ready = false; ///< the answer is final
        Answer answer;
    };

    Stage() = default;
    WSTATUS refusal(HttpRequest& request, const Seen& seen) REQUIRES(m_mutex);
    Answer choose(const Seen& seen) REQUIRES(m_mutex);
    Answer ask(const std::function<Answer(const Seen&)>& rule, const Seen& seen) EXCLUDES(m_mutex);
    void makeReady(HttpRequest& request, Job& job, const Answer& answer) REQUIRES(m_mutex);
    HttpRequest* waiting(std::size_t number) REQUIRES(m_mutex);
    void startWorker() REQUIRES(m_mutex);
    void run() EXCLUDES(m_mutex);
    void complete(HttpRequest* request, const Answer& answer) EXCLUDES(m_mutex);
    template <class Pick> std::vector<HttpRequest*> takeOut(Pick&& picks) REQUIRES(m_mutex);
    void destroy(unsigned long long id, const std::vector<HttpRequest*>& doomed) REQUIRES(m_mutex);
    void deleteUnlocked(const std::vector<HttpRequest*>& doomed) EXCLUDES(m_mutex);
    bool isFlushed(unsigned long long id, std::uint64_t before) REQUIRES(m_mutex);

    Mutex m_mutex;
    Condition m_changed;
    Script m_script GUARDED_BY(m_mutex);
    std::map<HttpRequest*, Job> m_jobs GUARDED_BY(m_mutex);
    http::RequestList m_held GUARDED_BY(m_mutex);            ///< queued requests without an answer
    http::RequestList m_ready GUARDED_BY(m_mutex);           ///< queued requests whose completions are due
    std::vector<HttpRequest*> m_dropped GUARDED_BY(m_mutex); ///< taken out by a flush, and not deleted yet
    std::map<unsigned long long, std::size_t> m_deleting GUARDED_BY(m_mutex);
    bool m_completing GUARDED_BY(m_mutex) = false; ///< a completion runs; the next two are its request's
    unsigned long long m_completingID GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_completingSequence GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_nextSequence GUARDED_BY(m_mutex) = 1;
    std::size_t m_live GUARDED_BY(m_mutex) = 0;
    bool m_started GUARDED_BY(m_mutex) = false;
};

} // namespace fake
} // namespace W

#endif
