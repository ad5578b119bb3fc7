// SPDX-License-Identifier: MIT
/// \file The scripted client's engine.
#ifndef FAKE_STAGE_H
#define FAKE_STAGE_H

#include "http/RequestList.h"
#include "whost/FakeClient.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace W {
namespace fake {

/// Holds the script, the requests and the worker. One mutex guards everything; it is not held while a completion, a destructor or
/// the test's own rule runs. There is one stage for the process, and it is never destroyed.
class WHOST_INTERNAL Stage {
public:
    static Stage& instance();
    static bool onWorker();

    // For HttpDelegator and HttpRequest.
    WSTATUS add(HttpRequest* request);
    WSTATUS execute(HttpRequest& request);
    void flush(unsigned long long id);
    void cancel(HttpRequest& request) noexcept;
    void requestIsMade();
    void requestIsGone() noexcept;

    // For tests; see FakeClient.h.
    void reset();
    void answerAll(const Answer& answer);
    void answerNext(const Answer& answer);
    void answerWith(std::function<Answer(const Seen&)> rule);
    void refuseNext(WSTATUS status, std::size_t times);
    void refuseAll(WSTATUS status);
    void checkRequests(bool check);
    void failConstruction(std::size_t after);
    void flushWith(Flush flush);
    std::size_t deleteDropped();
    bool answer(std::size_t number, const Answer& answer);
    std::size_t answerHeld(const Answer& answer);
    bool setProgress(std::size_t number, double done, double total);
    std::vector<Seen> requests();
    std::vector<Seen> refusals();
    std::size_t heldCount();
    std::size_t completionCount();
    std::vector<unsigned long long> flushes();
    std::size_t liveRequests();
    bool waitForRequests(std::size_t count, std::chrono::milliseconds patience);
    bool waitForCompletions(std::size_t count, std::chrono::milliseconds patience);
    bool waitUntilIdle(std::chrono::milliseconds patience);

private:
    using Lock = std::unique_lock<std::mutex>;

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
    WSTATUS refusal(Lock& lock, HttpRequest& request, const Seen& seen);
    Answer choose(Lock& lock, const Seen& seen);
    std::size_t arrive(Lock& lock, HttpRequest& request, bool executed);
    void makeReady(HttpRequest& request, Job& job, const Answer& answer);
    HttpRequest* waiting(std::size_t number);
    void startWorker();
    void run();
    template <class Pick> std::vector<HttpRequest*> takeOut(Lock& lock, Pick&& picks);
    void destroy(Lock& lock, unsigned long long id, const std::vector<HttpRequest*>& doomed);

    std::mutex m_mutex;
    std::condition_variable m_changed;
    Script m_script;
    std::map<HttpRequest*, Job> m_jobs;
    http::RequestList m_held;            ///< queued requests without an answer
    http::RequestList m_ready;           ///< queued requests whose completions are due
    std::vector<HttpRequest*> m_dropped; ///< taken out by a flush, and not deleted yet
    std::map<unsigned long long, std::size_t> m_deleting;
    bool m_completing = false;
    unsigned long long m_completingID = 0;
    std::uint64_t m_completingSequence = 0;
    std::uint64_t m_nextSequence = 1;
    std::size_t m_live = 0;
    bool m_started = false;
};

} // namespace fake
} // namespace W

#endif
