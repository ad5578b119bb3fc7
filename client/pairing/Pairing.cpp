// SPDX-License-Identifier: MIT
#include "kinloom/Pairing.h"

#include "core/CallState.h"
#include "core/Causes.h"
#include "kinloom/Encode.h"
#include "kinloom/Route.h"
#include "media/Fetch.h"
#include "pairing/PairingReply.h"
#include "plugin/Provider.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

namespace kinloom {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr const char* ATTEMPT = "cannot pair this device";
constexpr std::uint64_t MOST_REPLY = 64 << 10;
constexpr milliseconds REPLY_TIME{30'000};
constexpr milliseconds SLOWER{5'000};         ///< that "slow_down" adds
constexpr milliseconds LONGEST_PAUSE{60'000}; ///< while the service is away
constexpr W::UINT32 OK = 200;
constexpr W::UINT32 TOO_MANY = 429;
constexpr W::UINT32 FIRST_SERVER_FAILURE = 500;

/// What a question was answered with.
struct Answer {
    W::WSTATUS status = W::WSTATUS_OK;
    W::UINT32 code = 0;
    W::HttpExchange exchange;
    std::string body;

    bool isGood() const { return status >= 0 && code == OK; }
    /// \return whether the same question may be answered well later.
    bool passes() const { return status < 0 || code == TOO_MANY || code >= FIRST_SERVER_FAILURE; }
};

} // namespace

struct Pairing::Impl : std::enable_shared_from_this<Pairing::Impl> {
    Impl(PairingOrder given, const CallOptions& options)
        : order(std::move(given)), state(std::make_shared<CallState>(ATTEMPT, order.service, options))
    {
        if (options.patience)
            deadline = Clock::now() + *options.patience;
    }

    PairingOrder order;
    std::shared_ptr<CallState> state;
    std::optional<Clock::time_point> deadline;
    std::string base; ///< of addresses
    std::mutex mutex;
    std::condition_variable changed;
    std::thread thread;

    void wake();
    void run();
    CallResult pair();
    std::optional<CallResult> askUntilDecided(const PairingBegun& begun);
    std::optional<Answer> ask(const std::string& path, const std::string& form);
    bool pause(Clock::time_point until);
    std::optional<CallFailure> ending() const;
    CallFailure failureOf(const Answer& answer) const;
};

void Pairing::Impl::wake()
{
    // With the lock: whoever is about to wait has looked before, or hears it.
    const std::lock_guard<std::mutex> lock(mutex);
    changed.notify_all();
}

/// What ends the call from outside: somebody's wish, or the end of its patience.
std::optional<CallFailure> Pairing::Impl::ending() const
{
    if (state->wish() != CallState::Wish::NONE)
        return state->granted();
    if (deadline && Clock::now() >= *deadline)
        return state->failure(FailureKind::TIMED_OUT, W::WSTATUS_TIMED_OUT, "nobody has taken it in");
    return std::nullopt;
}

/// Waits. \return false when the call is to end.
bool Pairing::Impl::pause(Clock::time_point until)
{
    if (deadline)
        until = std::min(until, *deadline);
    std::unique_lock<std::mutex> lock(mutex);
    while (!ending() && Clock::now() < until)
        changed.wait_until(lock, until);
    return !ending();
}

/// Asks the service. \return nothing when the call is to end.
std::optional<Answer> Pairing::Impl::ask(const std::string& path, const std::string& form)
{
    const auto fetch = Fetch::post(base + path, form, MOST_REPLY, [impl = shared_from_this()] { impl->wake(); });
    const auto limit = Clock::now() + REPLY_TIME;
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (!fetch->ended() && !ending() && Clock::now() < limit)
            changed.wait_until(lock, deadline ? std::min(limit, *deadline) : limit);
    }
    if (!fetch->ended())
        fetch->drop(); // it ends before this returns
    if (ending())
        return std::nullopt;
    Answer answer;
    answer.status = fetch->status() == W::WSTATUS_CANCELLED ? W::WSTATUS_TIMED_OUT : fetch->status();
    answer.code = fetch->code();
    answer.exchange = fetch->exchange();
    answer.body = fetch->takeReply().body;
    return answer;
}

CallFailure Pairing::Impl::failureOf(const Answer& answer) const
{
    const auto kind = answer.status == W::WSTATUS_TIMED_OUT ? FailureKind::TIMED_OUT : FailureKind::FAILED;
    CallFailure failure = state->failure(kind, answer.status, "");
    tell(failure, answer.exchange);
    if (answer.status < 0) {
        explain(failure, RegisterDevice(), answer.exchange);
        return failure;
    }
    failure.reason = FailureReason::UNEXPECTED_ANSWER;
    failure.detail = "what answers at " + base + " does not pair devices";
    if (answer.code == TOO_MANY) {
        failure.reason = FailureReason::TOO_MANY;
        failure.detail = "too many devices wait to be taken in";
    } else if (answer.passes()) {
        failure.reason = FailureReason::UNAVAILABLE;
        failure.detail = "the service cannot take it in right now";
    }
    return failure;
}

/// Asks for credentials until there are some, or there will be none. \return nothing when the code has ended.
std::optional<CallResult> Pairing::Impl::askUntilDecided(const PairingBegun& begun)
{
    const auto end = Clock::now() + begun.code.lifetime;
    milliseconds interval = begun.interval;
    milliseconds wait = interval;
    const std::string form = "device_code=" + percentEncode(begun.deviceCode);
    while (true) {
        const auto answer = ask("/pair/token", form);
        if (!answer)
            return *ending();
        if (answer->isGood()) {
            const auto device = readPairedDevice(answer->body);
            return device ? CallResult(CallValue(*device)) : CallResult(failureOf(*answer));
        }
        const std::string error = answer->passes() ? std::string() : readPairingError(answer->body);
        if (error == "expired_token")
            return std::nullopt;
        if (error == "access_denied")
            return state->failure(FailureKind::REFUSED, W::WSTATUS_REJECTED, "somebody has turned it away");
        if (error == "slow_down")
            interval += SLOWER;
        else if (error != "authorization_pending" && !answer->passes())
            return failureOf(*answer);
        // A service that is away is asked less and less often.
        wait = answer->passes() ? std::min(std::max(wait * 2, interval), std::max(LONGEST_PAUSE, interval)) : interval;
        if (Clock::now() + wait >= end) {
            if (!pause(end))
                return *ending();
            return std::nullopt;
        }
        if (!pause(Clock::now() + wait))
            return *ending();
    }
}

CallResult Pairing::Impl::pair()
{
    try {
        base = ServiceUrl::parse(order.service).text();
    } catch (const CallError& error) {
        return state->failure(FailureKind::INVALID, W::WSTATUS_OK, error.failure().detail);
    }
    while (true) {
        const auto answer = ask("/pair", "device_name=" + percentEncode(order.deviceName));
        if (!answer)
            return *ending();
        const auto begun = answer->isGood() ? readPairingBegun(answer->body) : std::nullopt;
        if (!begun)
            return failureOf(*answer);
        if (order.shown)
            order.shown(begun->code);
        if (auto decided = askUntilDecided(*begun))
            return std::move(*decided);
        if (!order.renew)
            return state->failure(FailureKind::TIMED_OUT, W::WSTATUS_TIMED_OUT, "nobody has taken it in before its code ended");
    }
}

void Pairing::Impl::run()
{
    if (!state->drive([this] { wake(); }))
        return;
    CallResult result = pair();
    state->rest();
    state->finish(std::move(result));
}

Pairing::Pairing(PairingOrder order, const CallOptions& options) : m_impl(std::make_shared<Impl>(std::move(order), options))
{
    CallState::listen(m_impl->state);
    m_impl->thread = std::thread([impl = m_impl.get()] { impl->run(); });
}

Pairing::~Pairing()
{
    m_impl->state->want(CallState::Wish::CANCEL);
    m_impl->thread.join();
}

Call<PairedDevice> Pairing::call() const { return Call<PairedDevice>(m_impl->state); }

void keepDevice(const PairedDevice& device, const std::string& service, W::ConfigFile& file)
{
    leadTo(file, service);
    file.setOption(PROVIDER, "app_id", device.appId);
    file.setOption(PROVIDER, "AuthToken", device.token);
    file.setOption(PROVIDER, "duid", device.duid);
    file.save();
}

} // namespace kinloom
