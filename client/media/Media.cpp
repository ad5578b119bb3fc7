// SPDX-License-Identifier: MIT
#include "kinloom/Media.h"

#include "core/CallState.h"
#include "core/Causes.h"
#include "core/Retrying.h"
#include "kinloom/Route.h"
#include "media/Fetch.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace kinloom {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

/// How often fetches are asked how far they are.
constexpr auto TICK = 100ms;

/// A fetch and the call that it is for.
struct Running {
    MediaOrder order;
    std::shared_ptr<CallState> state;
    std::shared_ptr<Fetch> fetch;
    std::optional<Clock::time_point> deadline;
    bool tooLarge = false;
    bool over = false;                      ///< the watcher's: the call has ended
    unsigned int made = 0;                  ///< how often it was made again
    std::optional<Clock::time_point> again; ///< when it is made again; the fetch has ended

    void settle();
    CallResult result();
};

CallResult Running::result()
{
    const W::WSTATUS status = fetch->status();
    const auto kindOf = [](W::WSTATUS failed) {
        return failed == W::WSTATUS_TIMED_OUT ? FailureKind::TIMED_OUT : FailureKind::FAILED;
    };
    MediaReply reply = fetch->takeReply();
    if (tooLarge || (status >= 0 && reply.body.size() > order.limit))
        return state->failure(FailureKind::FAILED, W::WSTATUS_LIMIT_EXCEEDED, "");
    if (status == W::WSTATUS_CANCELLED && state->wish() != CallState::Wish::NONE)
        return state->granted();
    if (status == W::WSTATUS_CANCELLED) // nobody here wanted it
        return state->failure(FailureKind::DROPPED, status, "the host has dropped it");
    const W::UINT32 code = fetch->code();
    if (status >= 0 && code >= 200 && code <= 299)
        return CallValue(std::move(reply));
    CallFailure failure =
        status < 0 ? state->failure(kindOf(status), status, "")
                   : state->failure(FailureKind::FAILED, status, "the service answers with HTTP " + std::to_string(code));
    tell(failure, fetch->exchange());
    explain(failure, DownloadFile{order.url, "", "", order.name}, fetch->exchange());
    return failure;
}

/// Ends the call, or lays down when it is made again.
void Running::settle()
{
    CallResult ended = result();
    const auto* const failure = std::get_if<CallFailure>(&ended);
    const Retries& retries = state->options().retries;
    const auto time = failure != nullptr ? nextTry(*failure, retries, made, realRetryTools().random()) : std::nullopt;
    if (!time) {
        state->finish(std::move(ended));
        return;
    }
    ++made;
    again = Clock::now() + *time;
    if (retries.waiting)
        retries.waiting({*failure, *time, made, retries.count});
}

} // namespace

struct Media::Impl : std::enable_shared_from_this<Media::Impl> {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::shared_ptr<Running>> running; // guarded by the mutex, like the next two
    bool looked = true;                            ///< nothing has happened since the watcher looked
    bool ending = false;
    std::thread watcher;

    void wake();
    void watch();
    void look(Running& one);
    void begin(Running& one);
};

void Media::Impl::wake()
{
    const std::lock_guard<std::mutex> lock(mutex);
    looked = false;
    changed.notify_all();
}

/// Looks after all fetches: their ends, their deadlines, and what is wanted of them.
void Media::Impl::watch()
{
    std::unique_lock<std::mutex> lock(mutex);
    while (true) {
        const auto happened = [&] { return ending || !looked; };
        if (running.empty())
            changed.wait(lock, happened);
        else
            changed.wait_for(lock, TICK, happened);
        looked = true;
        const std::vector<std::shared_ptr<Running>> all = running;
        const bool end = ending;
        lock.unlock();
        for (const auto& one : all) {
            if (end)
                one->state->want(CallState::Wish::CANCEL);
            look(*one);
            // Asked without the lock: a call that is cancelled wakes this thread under the call's own.
            one->over = one->state->ended();
        }
        lock.lock();
        const auto over = [](const std::shared_ptr<Running>& one) { return one->over; };
        running.erase(std::remove_if(running.begin(), running.end(), over), running.end());
        if (end && running.empty())
            return;
    }
}

void Media::Impl::begin(Running& one)
{
    if (const auto patience = one.state->options().patience)
        one.deadline = Clock::now() + *patience;
    const MediaOrder& order = one.order;
    one.fetch =
        Fetch::start(order.url, W::HttpHeader(), order.file, order.fileLimit, [impl = shared_from_this()] { impl->wake(); });
}

void Media::Impl::look(Running& one)
{
    if (one.again) {
        if (one.state->wish() != CallState::Wish::NONE)
            one.state->finish(one.state->granted());
        else if (Clock::now() >= *one.again) {
            one.again.reset();
            begin(one);
        }
        return;
    }
    if (!one.fetch->ended() && one.state->wish() != CallState::Wish::NONE)
        one.fetch->drop();
    if (!one.fetch->ended() && one.deadline && Clock::now() >= *one.deadline) {
        one.fetch->drop();
        one.state->finish(one.state->failure(FailureKind::TIMED_OUT, W::WSTATUS_TIMED_OUT, ""));
        return;
    }
    if (one.fetch->ended()) {
        one.settle();
        return;
    }
    const TransferProgress progress = one.fetch->progress();
    one.state->report(progress);
    if (one.order.file.empty() && progress.done > static_cast<double>(one.order.limit)) {
        one.tooLarge = true;
        one.fetch->drop();
        one.settle();
    }
}

Media::Media() : m_impl(std::make_shared<Impl>()) { m_impl->watcher = std::thread(&Impl::watch, m_impl.get()); }

Media::~Media()
{
    {
        const std::lock_guard<std::mutex> lock(m_impl->mutex);
        m_impl->ending = true;
    }
    m_impl->changed.notify_all();
    m_impl->watcher.join();
}

Call<MediaReply> Media::fetch(MediaOrder order, const CallOptions& options)
{
    const std::string name = order.name.empty() ? order.url : order.name;
    const auto state = std::make_shared<CallState>("cannot fetch " + name, addressOf(W::httpOptions(), order.url), options);
    state->drive([impl = m_impl] { impl->wake(); });
    CallState::listen(state);
    const auto one = std::make_shared<Running>();
    one->state = state;
    one->order = std::move(order);
    m_impl->begin(*one);
    {
        const std::lock_guard<std::mutex> lock(m_impl->mutex);
        m_impl->running.push_back(one);
        m_impl->looked = false;
    }
    m_impl->changed.notify_all();
    return Call<MediaReply>(state);
}

} // namespace kinloom
