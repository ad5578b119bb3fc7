// SPDX-License-Identifier: MIT
#include "core/Retrying.h"

#include "core/Bell.h"
#include "plugin/Execute.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <random>
#include <type_traits>

namespace kinloom {

namespace {

using std::chrono::milliseconds;

/// What a refusal says of the next try: the service has too much to do, or something before it does not get through to it.
constexpr unsigned int PASSING_CODES[] = {429, 502, 503, 504};

/// What becomes of the connection when something in between fails or is started anew.
constexpr W::WSTATUS PASSING_STATUSES[] = {W::WSTATUS_CONNECTION_LOST, W::WSTATUS_UNREACHABLE};

template <class Order>
constexpr bool COMES_TWICE =
    std::is_same_v<Order, ListGroups> || std::is_same_v<Order, ReadFeed> || std::is_same_v<Order, ViewContent> ||
    std::is_same_v<Order, AskMimeType> || std::is_same_v<Order, UploadPhoto> || std::is_same_v<Order, DownloadFile> ||
    std::is_same_v<Order, ViewComment> || std::is_same_v<Order, SignIn> || std::is_same_v<Order, AskPerson>;

template <class Table, class Value> bool isIn(const Table& table, const Value& value)
{
    return std::find(std::begin(table), std::end(table), value) != std::end(table);
}

bool waitForReal(CallState& state, milliseconds time)
{
    // Whoever wakes may do so for a moment longer than this lasts.
    const auto bell = std::make_shared<Bell>();
    const Driving driving(state, [bell] { bell->ring([] {}); });
    const auto wanted = [&] { return state.wish() != CallState::Wish::NONE; };
    return driving.begun() && !bell->waitUntil(Bell::Clock::now() + time, wanted);
}

double chance()
{
    thread_local std::mt19937_64 engine{std::random_device()()};
    return std::uniform_real_distribution<double>(0, 1)(engine);
}

/// Whether a call shows that its service is there.
bool reaches(const CallResult& result)
{
    const auto* const failure = std::get_if<CallFailure>(&result);
    return failure == nullptr || failure->httpCode != 0 || failure->status == W::WSTATUS_CONNECTION_LOST;
}

/// A service that cannot be reached is waited for when this lane has reached it before: then it is being started anew, or the
/// network is away. One that is not there when a lane signs in for the first time is not running, and nobody waits for that.
bool isWorthATry(const Operation& operation, const CallFailure& failure, bool hasReached)
{
    if (failure.status != W::WSTATUS_UNREACHABLE)
        return true;
    // A call signs its lane in when that is not; what failed then is the sign-in.
    const bool atSignIn = failure.attempt == attemptOf(SignIn());
    return !signsIn(operation) && (!atSignIn || hasReached);
}

CallFailure settledAs(CallFailure failure, bool unsettled)
{
    failure.unsettled = unsettled;
    return failure;
}

} // namespace

bool mayComeTwice(const Operation& operation)
{
    return std::visit([](const auto& order) { return COMES_TWICE<std::decay_t<decltype(order)>>; }, operation);
}

bool mayPass(const CallFailure& failure)
{
    if (failure.kind != FailureKind::FAILED && failure.kind != FailureKind::REFUSED)
        return false;
    // A reply that came whole is no broken connection, whatever status the plugin makes of it.
    constexpr unsigned int FIRST_OF_REFUSALS = 400;
    return isIn(PASSING_CODES, failure.httpCode) ||
           (failure.httpCode < FIRST_OF_REFUSALS && isIn(PASSING_STATUSES, failure.status));
}

milliseconds waitBefore(unsigned int number, const CallFailure& failure, const Retries& retries, double random)
{
    if (failure.retryAfter >= 0) // a little more, so that not all who were told the same come in the same moment
        return std::chrono::seconds(failure.retryAfter) +
               milliseconds(static_cast<long>(random * static_cast<double>(retries.first.count())));
    milliseconds limit = std::min(retries.first, retries.longest);
    while (--number > 0 && limit < retries.longest)
        limit = std::min(limit * 2, retries.longest);
    return milliseconds(static_cast<long>(random * static_cast<double>(limit.count())));
}

std::optional<milliseconds> nextTry(const CallFailure& failure, const Retries& retries, unsigned int made, double random)
{
    if (made >= retries.count || !mayPass(failure) || std::chrono::seconds(failure.retryAfter) > retries.longestAsked)
        return std::nullopt;
    return waitBefore(made + 1, failure, retries, random);
}

const RetryTools& realRetryTools()
{
    static const RetryTools tools{waitForReal, chance};
    return tools;
}

void runAgainAndAgain(LaneEngine& engine, const Operation& operation, CallState& state, const RetryTools& tools)
{
    const Retries& retries = state.options().retries;
    if (retries.count == 0 || !mayComeTwice(operation)) {
        engine.run(operation, state);
        return;
    }
    bool unsettled = false; // some try may have taken effect
    for (unsigned int made = 0;; ++made) {
        const std::shared_ptr<CallState> once = state.once();
        {
            const Driving driving(state, [&state, once] { once->want(state.wish()); });
            if (!driving.begun())
                return;
            if (state.wish() != CallState::Wish::NONE)
                once->want(state.wish());
            engine.run(operation, *once);
        }
        const auto* const failure = std::get_if<CallFailure>(&once->result());
        const bool again = failure != nullptr && isWorthATry(operation, *failure, engine.hasReached);
        engine.hasReached = engine.hasReached || reaches(once->result());
        const auto time = again ? nextTry(*failure, retries, made, tools.random()) : std::nullopt;
        unsettled = unsettled || (failure != nullptr && failure->unsettled);
        if (!time) {
            state.finish(failure == nullptr ? once->result() : settledAs(*failure, unsettled));
            return;
        }
        if (retries.waiting)
            retries.waiting({*failure, *time, made + 1, retries.count});
        if (!tools.wait(state, *time)) {
            state.finish(settledAs(state.granted(), unsettled));
            return;
        }
    }
}

} // namespace kinloom
