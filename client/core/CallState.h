// SPDX-License-Identifier: MIT
/// \file One call, as those who wait for it and the one thread that drives it share it.
#ifndef KINLOOM_CLIENT_CALLSTATE_H
#define KINLOOM_CLIENT_CALLSTATE_H

#include "kinloom/Call.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

namespace kinloom {

/// A call from its submission to its end. It ends once; whatever comes later is passed over.
///
/// Nobody has driven it at first: then a cancel or an interruption ends it at once. The thread that drives it says how it is woken,
/// and looks at wish() whenever it is.
class CallState {
public:
    /// What somebody wants of a call that is under way.
    enum class Wish : std::uint8_t {
        NONE,
        CANCEL,
        INTERRUPT,
    };

    /// \param attempt for failures. \param address of the service, for failures.
    CallState(std::string attempt, std::string address, CallOptions options);
    CallState(const CallState&) = delete;
    CallState& operator=(const CallState&) = delete;
    /// Has the call's interruption heard; once, by whoever made the call.
    static void listen(const std::shared_ptr<CallState>& state);

    const CallOptions& options() const { return m_options; }

    // For those who wait.
    bool ended() const;
    void wait() const;
    bool waitFor(std::chrono::milliseconds time) const;
    /// Once it has ended.
    const CallResult& result() const { return m_result; }
    TransferProgress progress() const;
    void onEnd(std::function<void()> ended);
    void want(Wish wish);

    // For the thread that drives the call.
    /// Begins to drive, or says anew how to wake. \return false when the call has ended already.
    bool drive(std::function<void()> wake);
    /// Nobody is woken any more.
    void rest();
    Wish wish() const { return m_wish; }
    void report(TransferProgress progress);
    /// \return false when the call had ended before.
    bool finish(CallResult result);
    /// What becomes of the call when the wish is granted.
    CallFailure granted() const;
    /// A failure of this call.
    CallFailure failure(FailureKind kind, W::WSTATUS status, std::string detail) const;
    /// A state for one try of this call: its progress is this call's, its wishes are for the thread that drives both to pass on.
    /// This call outlives it.
    std::shared_ptr<CallState> once();

private:
    const std::string m_attempt;
    const std::string m_address;
    const CallOptions m_options;
    std::atomic<Wish> m_wish{Wish::NONE};

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    bool m_driven = false; // guarded by m_mutex, like all below
    bool m_ended = false;
    CallResult m_result; // constant once the call has ended
    TransferProgress m_progress;
    std::function<void()> m_wake;
    std::vector<std::function<void()>> m_onEnd;
    std::shared_ptr<void> m_watch;
};

/// Drives a call for the length of a scope.
class Driving {
public:
    Driving(CallState& state, std::function<void()> wake) : m_state(state), m_begun(state.drive(std::move(wake))) {}
    ~Driving() { m_state.rest(); }
    Driving(const Driving&) = delete;
    Driving& operator=(const Driving&) = delete;
    /// False when the call has ended before.
    bool begun() const { return m_begun; }

private:
    CallState& m_state;
    const bool m_begun;
};

} // namespace kinloom

#endif
