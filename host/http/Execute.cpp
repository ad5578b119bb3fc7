// SPDX-License-Identifier: MIT
#include "http/Execute.h"

#include "Mutex.h"
#include "http/Connections.h"
#include "http/Options.h"
#include "http/RequestImpl.h"
#include "http/SignalBlock.h"
#include "http/Transfer.h"

#include <algorithm>
#include <vector>

namespace W {
namespace WHOST_INTERNAL http {

namespace {

using std::chrono::milliseconds;

/// Connections that a loop keeps for its next request.
constexpr long KEPT_CONNECTIONS = 4;
constexpr milliseconds LONGEST_WAIT(60'000);

struct Loop {
    CURLM* multi = nullptr;
    Connections connections;
};

/// Transfer loops (multi handles with one transfer each) for the threads that execute requests at the same time. They keep
/// connections and are never destroyed, so that a late setCancel can always wake one up.
struct Loops {
    Mutex mutex;
    std::vector<Loop*> idle GUARDED_BY(mutex);
    std::size_t made GUARDED_BY(mutex) = 0;
};

Loops& loops()
{
    static Loops* const instance = new Loops;
    return *instance;
}

/// An idle loop, or a new one. \throw std::bad_alloc
Loop* takeLoop()
{
    Loops& all = loops();
    {
        const MutexLock lock(all.mutex);
        if (!all.idle.empty()) {
            Loop* const loop = all.idle.back();
            all.idle.pop_back();
            return loop;
        }
        // Room for giving this one back, when nothing may fail any more.
        all.idle.reserve(all.made + 1);
        ++all.made;
    }
    return new Loop;
}

void giveBack(Loop* loop) noexcept
{
    Loops& all = loops();
    const MutexLock lock(all.mutex);
    all.idle.push_back(loop);
}

/// A loop for as long as the object lives.
class LoopLease {
public:
    LoopLease() : m_loop(takeLoop()) {}
    ~LoopLease() { giveBack(m_loop); }
    LoopLease(const LoopLease&) = delete;
    LoopLease& operator=(const LoopLease&) = delete;

    Loop& get() const { return *m_loop; }

private:
    Loop* const m_loop;
};

bool open(Loop& loop)
{
    if (loop.multi)
        return true;
    loop.multi = curl_multi_init();
    return loop.multi && curl_multi_setopt(loop.multi, CURLMOPT_MAXCONNECTS, KEPT_CONNECTIONS) == CURLM_OK;
}

/// Runs one hop to its end, or up to a limit of the client's own, which ends the transfer and returns true.
bool driveHop(HttpRequest& request, CURLM* multi, CURLcode& result)
{
    const Clock::duration interval = stallInterval(*request.impl().transfer.options);
    const bool watches = interval != Clock::duration::zero();
    Clock::time_point nextLook = Clock::now() + interval;
    for (;;) {
        int running = 0;
        curl_multi_perform(multi, &running);
        int left = 0;
        if (const CURLMsg* const message = curl_multi_info_read(multi, &left)) {
            result = message->data.result;
            return false;
        }
        const Clock::time_point now = Clock::now();
        if (request.impl().cancelled.load()) {
            endTransfer(request, SESSION_CANCELLED);
            return true;
        }
        if (watches && now >= nextLook) {
            if (stalls(request, now)) {
                endTransfer(request, SESSION_TIMED_OUT);
                return true;
            }
            nextLook = now + interval;
        }
        const milliseconds wait = watches ? std::min(std::chrono::ceil<milliseconds>(nextLook - now), LONGEST_WAIT) : LONGEST_WAIT;
        curl_multi_poll(multi, nullptr, 0, static_cast<int>(wait.count()), nullptr);
    }
}

void runTransfer(HttpRequest& request, Loop& loop)
{
    CURLM* const multi = loop.multi;
    HttpRequest::Impl& impl = request.impl();
    const SESSION_STATUS begun = beginTransfer(request, loop.connections, Clock::now());
    if (begun != SESSION_DONE) {
        endTransfer(request, begun);
        return;
    }
    for (bool ended = false; !ended;) {
        if (curl_multi_add_handle(multi, impl.easy->curl) != CURLM_OK) {
            endTransfer(request, SESSION_NOT_CREATED);
            return;
        }
        CURLcode result = CURLE_OK;
        ended = driveHop(request, multi, result);
        curl_multi_remove_handle(multi, impl.easy->curl);
        if (!ended)
            ended = endHop(request, result, Clock::now());
    }
}

} // namespace

SESSION_STATUS executeHere(HttpRequest& request) noexcept
{
    if (!initialiseCurl())
        return SESSION_NOT_CREATED;
    try {
        const PipeSignalBlocked blocked;
        const LoopLease lease;
        Loop& loop = lease.get();
        if (!open(loop))
            return SESSION_NOT_CREATED;
        HttpRequest::Impl& impl = request.impl();
        impl.transfer.options = currentOptions();
        impl.loop.store(loop.multi);
        runTransfer(request, loop);
        impl.loop.store(nullptr);
        return impl.transfer.status;
    } catch (const std::exception&) {
        return SESSION_NOT_CREATED;
    }
}

} // namespace http
} // namespace W
