// SPDX-License-Identifier: MIT
/// \file Calls that are under way.
#ifndef KINLOOM_CALL_H
#define KINLOOM_CALL_H

#include "kinloom/Failure.h"
#include "kinloom/Interruption.h"
#include "kinloom/Operations.h"
#include "kinloom/Retries.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <variant>

namespace kinloom {

/// Bytes of a transfer so far, and bytes expected; 0 while unknown.
struct TransferProgress {
    double done = 0;
    double total = 0;
};

struct CallOptions {
    /// In place of the settings' patience.
    std::optional<std::chrono::milliseconds> patience;
    /// Ends the call as interrupted when it rings.
    std::optional<Interruption> interruption;
    /// Told now and then how far a transfer is, on the thread that drives the call: the caller's for Lane::call, one of the
    /// library's otherwise. Must not throw.
    std::function<void(double done, double total)> progress;
    /// In a pool: goes before calls that are not urgent and have not begun yet.
    bool urgent = false;
    /// Whether the call is made again when it has failed.
    Retries retries = {};
};

class CallState;

/// How a call ended.
using CallResult = std::variant<CallValue, CallFailure>;

/// A call that was submitted. Copies are the same call; it goes on when all of them are gone. All members may be called from any
/// thread.
class KINLOOM_CLIENT_API AnyCall {
public:
    explicit AnyCall(std::shared_ptr<CallState> state);

    bool ended() const;
    /// Returns when the call has ended.
    void wait() const;
    /// Waits so long at most; the call goes on. \return whether it has ended.
    bool waitFor(std::chrono::milliseconds time) const;
    /// Asks for its end. A call that has not begun ends at once; one that is under way ends as cancelled, or as it was about to
    /// end.
    void cancel();
    TransferProgress progress() const;
    /// Has a function called once, when the call has ended: on the thread that ends it, or here and now when it has ended already.
    /// The function should return soon, must not throw, and may submit further calls.
    void onEnd(std::function<void()> ended);

protected:
    const CallResult& result() const;

private:
    std::shared_ptr<CallState> m_state;
};

/// A call and the type of its value.
template <class Value> class Call : public AnyCall {
public:
    using AnyCall::AnyCall;

    /// How the call ended; waits for that.
    Outcome<Value> outcome() const { return outcomeOf(result()); }

    /// For the library.
    static Outcome<Value> outcomeOf(CallResult result)
    {
        if (auto* const failure = std::get_if<CallFailure>(&result))
            return std::move(*failure);
        return std::get<Value>(std::move(std::get<CallValue>(result)));
    }
};

} // namespace kinloom

#endif
