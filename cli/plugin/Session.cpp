// SPDX-License-Identifier: MIT
#include "plugin/Session.h"

#include "core/Errors.h"

#include <algorithm>

namespace kinloom {

namespace {

using namespace std::chrono_literals;

/// How often a transfer is asked how far it is.
constexpr auto TICK = 100ms;
/// How long a cancelled call may take to end. A transfer stops at once; another request ends when its reply comes, and is dropped
/// with the plugin if that takes longer.
constexpr auto CANCEL_TIME = 2s;

struct Nothing {};

} // namespace

Session::Session(Settings settings, Bell& bell, const Interrupt& interrupt)
    : m_settings(std::move(settings)),
      m_bell(bell),
      m_interrupt(interrupt),
      m_library(m_settings.plugin),
      m_plugin(m_library.create())
{
}

Session::~Session() = default;

W::WSTATUS Session::run(const std::string& attempt, const std::shared_ptr<Call>& call,
                        const std::function<W::WSTATUS(W::VOID*)>& start, const ProgressFunction& progress)
{
    m_interrupt.check();
    m_calls.push_back(call);
    const W::WSTATUS accepted = start(call->userData());
    if (accepted < 0) {
        m_calls.pop_back(); // no callback follows
        m_interrupt.check();
        throw statusFailure(attempt, accepted, m_settings.address);
    }
    awaitEnd(*call, attempt, progress);
    m_calls.pop_back();
    if (call->status() < 0)
        throw statusFailure(attempt, call->status(), m_settings.address);
    return call->status();
}

void Session::awaitEnd(Call& call, const std::string& attempt, const ProgressFunction& progress)
{
    const auto deadline = Bell::Clock::now() + m_settings.patience;
    const auto ended = [&] { return call.finished() || m_interrupt.requested(); };
    while (!m_bell.waitUntil(progress ? Bell::Clock::now() + TICK : deadline, ended)) {
        if (!progress)
            throw statusFailure(attempt, W::WSTATUS_TIMED_OUT, m_settings.address);
        double done = 0;
        double total = 0;
        if (m_plugin->progressStatus(provider(), done, total, nullptr) == W::WSTATUS_OK)
            progress(done, total);
    }
    if (!call.finished())
        cancel(call);
}

void Session::cancel(Call& call)
{
    if (m_plugin->cancel(provider(), &Call::cancelled, nullptr) == W::WSTATUS_OK)
        m_bell.waitUntil(Bell::Clock::now() + CANCEL_TIME, [&] { return call.finished(); });
    throw Interrupted(m_interrupt.exitCode());
}

void Session::account(const std::string& attempt, W::WSTATUS (W::WKinloomOAI::*operation)(W::WStatusCallback, W::VOID*))
{
    const auto done = call<Nothing>();
    const W::WStatusCallback callback = [](W::WSTATUS status, const W::WContentProvider&, W::VOID* userData) {
        ResultCall<Nothing>::of(userData).finish(status, Nothing());
    };
    try {
        run(attempt, done, [&](W::VOID* userData) { return (m_plugin.get()->*operation)(callback, userData); });
    } catch (const Interrupted&) {
        throw;
    } catch (const Failure& failure) {
        // Whatever the service has against an account request, it is this device that it does not accept.
        if (failure.exitCode() != Exit::FAILED)
            throw;
        throw Failure(Exit::NOT_SIGNED_IN, failure.what(), failure.status());
    }
}

void Session::registerDevice() { account("cannot register this device", &W::WKinloomOAI::registerKL); }

void Session::signIn()
{
    account("cannot sign in", &W::WKinloomOAI::authKL);
    // A reply that says "fail" reports 0 as well; the session tells them apart.
    if (!isSignedIn())
        throw statusFailure("cannot sign in", W::WSTATUS_AUTH_FAILED, m_settings.address);
}

bool Session::isSignedIn()
{
    double done = 0;
    double total = 0;
    return m_plugin->progressStatus(provider(), done, total, nullptr) != W::WSTATUS_NOT_LOGGED_IN;
}

} // namespace kinloom
