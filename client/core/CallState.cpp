// SPDX-License-Identifier: MIT
#include "core/CallState.h"

namespace kinloom {

CallState::CallState(std::string attempt, std::string address, CallOptions options)
    : m_attempt(std::move(attempt)), m_address(std::move(address)), m_options(std::move(options))
{
}

void CallState::listen(const std::shared_ptr<CallState>& state)
{
    const std::optional<Interruption>& interruption = state->m_options.interruption;
    if (!interruption)
        return;
    // The bell is asked after it is watched, so that it cannot ring unheard in between.
    std::shared_ptr<void> watch = interruption->watch([weak = std::weak_ptr<CallState>(state)] {
        if (const auto alive = weak.lock())
            alive->want(Wish::INTERRUPT);
    });
    {
        const std::lock_guard<std::mutex> lock(state->m_mutex);
        state->m_watch = std::move(watch);
    }
    if (interruption->requested())
        state->want(Wish::INTERRUPT);
}

bool CallState::ended() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_ended;
}

void CallState::wait() const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_ended; });
}

bool CallState::waitFor(std::chrono::milliseconds time) const
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, time, [&] { return m_ended; });
}

TransferProgress CallState::progress() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_progress;
}

void CallState::onEnd(std::function<void()> ended)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_ended) {
            m_onEnd.push_back(std::move(ended));
            return;
        }
    }
    ended();
}

void CallState::want(Wish wish)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_ended)
            return;
        Wish none = Wish::NONE;
        m_wish.compare_exchange_strong(none, wish);
        if (m_driven) {
            if (m_wake)
                m_wake();
            return;
        }
        m_driven = true; // from here on nobody else begins to drive it
    }
    finish(granted());
}

bool CallState::drive(std::function<void()> wake)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_driven = true;
    m_wake = std::move(wake);
    return !m_ended;
}

void CallState::rest()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_wake = nullptr;
}

void CallState::report(TransferProgress progress)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_progress = progress;
    }
    if (m_options.progress)
        m_options.progress(progress.done, progress.total);
}

bool CallState::finish(CallResult result)
{
    std::vector<std::function<void()>> onEnd;
    std::shared_ptr<void> watch; // let go of without the lock: the bell has one of its own, and rings under it
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_ended)
            return false;
        m_result = std::move(result);
        m_ended = true;
        m_wake = nullptr;
        onEnd.swap(m_onEnd);
        watch.swap(m_watch);
        m_changed.notify_all();
    }
    for (const auto& ended : onEnd)
        ended();
    return true;
}

CallFailure CallState::granted() const
{
    return m_wish == Wish::INTERRUPT ? failure(FailureKind::INTERRUPTED, W::WSTATUS_CANCELLED, "interrupted")
                                     : failure(FailureKind::CANCELLED, W::WSTATUS_CANCELLED, "cancelled");
}

CallFailure CallState::failure(FailureKind kind, W::WSTATUS status, std::string detail) const
{
    return {kind, status, m_attempt, m_address, std::move(detail)};
}

std::shared_ptr<CallState> CallState::once()
{
    CallOptions options;
    options.patience = m_options.patience;
    options.progress = [this](double done, double total) { report({done, total}); };
    return std::make_shared<CallState>(m_attempt, m_address, std::move(options));
}

AnyCall::AnyCall(std::shared_ptr<CallState> state) : m_state(std::move(state)) {}
bool AnyCall::ended() const { return m_state->ended(); }
void AnyCall::wait() const { m_state->wait(); }
bool AnyCall::waitFor(std::chrono::milliseconds time) const { return m_state->waitFor(time); }
void AnyCall::cancel() { m_state->want(CallState::Wish::CANCEL); }
TransferProgress AnyCall::progress() const { return m_state->progress(); }
void AnyCall::onEnd(std::function<void()> ended) { m_state->onEnd(std::move(ended)); }

const CallResult& AnyCall::result() const
{
    m_state->wait();
    return m_state->result();
}

} // namespace kinloom
