// SPDX-License-Identifier: MIT
#include "plugin/LocalLane.h"

#include "W/WConfigManager.h"
#include "core/Causes.h"
#include "core/HostEvents.h"
#include "media/Fetch.h"
#include "plugin/Execute.h"
#include "plugin/LocalTurn.h"
#include "plugin/Provider.h"

namespace kinloom {

namespace {

using namespace std::chrono_literals;

/// How often a transfer is asked how far it is.
constexpr auto TICK = 100ms;
/// How long a cancelled transfer may take to end before it is dropped with the plugin object.
constexpr auto CANCEL_TIME = 2s;

/// The kind of failure that a request's status is.
FailureKind kindOf(W::WSTATUS status)
{
    switch (status) {
    case W::WSTATUS_TIMED_OUT:
        return FailureKind::TIMED_OUT;
    case W::WSTATUS_CANCELLED:
        return FailureKind::CANCELLED;
    default:
        return FailureKind::FAILED;
    }
}

bool meansSignedOut(W::WSTATUS status) { return status == W::WSTATUS_NOT_LOGGED_IN || status == W::WSTATUS_LOGIN_REFUSED; }

} // namespace

LocalLane::LocalLane(Settings settings, std::string address)
    : m_settings(std::move(settings)), m_address(std::move(address)), m_bell(std::make_shared<Bell>())
{
    const W::WContentProvider provider(PROVIDER, W::WContentProvider::SERVICE_KINLOOM);
    for (const auto& [key, value] : m_settings.options)
        W::WConfigManager::getInstance()->setCPOption(provider, key, value);
    W::setHttpOptions(m_settings.client);
    HostEvents::instance(); // hears of requests from here on
}

LocalLane::~LocalLane() { LocalTurn::instance().retire(std::move(m_plugin)); }

void LocalLane::run(const Operation& operation, CallState& state)
{
    LocalTurn& turn = LocalTurn::instance();
    if (!turn.take(state)) {
        state.finish(state.granted());
        return;
    }
    const Driving driving(state, [this] { m_bell->ring([] {}); });
    m_state = &state;
    m_dropped = false;
    CallResult result = driving.begun() ? resultOf(operation) : CallResult(state.granted());
    turn.watch(nullptr, nullptr);
    if (m_stale)
        m_plugin.reset();
    m_call.reset();
    m_state = nullptr;
    turn.give();
    state.finish(std::move(result));
}

CallResult LocalLane::resultOf(const Operation& operation)
{
    const Operation signIn = SignIn();
    const Operation* step = &operation;
    m_exchange = W::HttpExchange();
    m_changing = false;
    try {
        checkWish(attemptOf(operation));
        if (prepare(operation)) {
            step = &signIn;
            execute(signIn, *this);
            m_signedIn = true;
            step = &operation;
        }
        CallResult result = execute(operation, *this);
        m_signedIn = m_signedIn || signsIn(operation);
        return result;
    } catch (const CallError& error) {
        if (m_settings.signInAgain && meansSignedOut(error.failure().status))
            m_signedIn = false;
        CallFailure failure = error.failure();
        failure.unsettled = m_changing && mayHaveTakenEffect(failure, m_exchange);
        explain(failure, *step, m_exchange);
        return failure;
    } catch (const std::exception& error) {
        return CallFailure{FailureKind::FAILED, W::WSTATUS_OK, attemptOf(operation), m_address, error.what()};
    }
}

/// Sees to a plugin object. \return whether it has to sign in before the operation.
bool LocalLane::prepare(const Operation& operation)
{
    if (!m_plugin) {
        m_stale = false;
        m_signedIn = false;
        m_plugin = std::make_unique<Plugin>(std::make_shared<Library>(pluginPath(m_settings.plugin)));
    }
    LocalTurn::instance().watch(m_plugin.get(), [this] { m_bell->ring([this] { m_dropped = true; }); });
    return !m_signedIn && !worksSignedOut(operation);
}

bool LocalLane::isSignedIn()
{
    double done = 0;
    double total = 0;
    return plugin().progressStatus(provider(), done, total, nullptr) != W::WSTATUS_NOT_LOGGED_IN;
}

void LocalLane::request(const std::string& attempt, const std::shared_ptr<PluginCall>& call,
                        const std::function<W::WSTATUS(W::VOID*)>& start, bool transfer)
{
    if (m_state->wish() != CallState::Wish::NONE)
        m_changing = false; // nothing of it has begun
    checkWish(attempt);
    m_call = call;
    HostEvents::instance().forget();
    const W::WSTATUS accepted = start(call->userData());
    if (accepted < 0) {
        m_changing = false; // no callback follows
        checkWish(attempt);
        throw pluginError(FailureKind::REFUSED, accepted, attempt);
    }
    awaitEnd(*call, attempt, transfer);
    if (call->status() < 0)
        throw pluginError(kindOf(call->status()), call->status(), attempt);
}

void LocalLane::awaitEnd(PluginCall& call, const std::string& attempt, bool transfer)
{
    const auto deadline = Bell::Clock::now() + patience();
    const auto ended = [&] { return call.finished() || m_dropped || m_state->wish() != CallState::Wish::NONE; };
    while (!m_bell->waitUntil(transfer ? Bell::Clock::now() + TICK : deadline, ended)) {
        if (!transfer) {
            m_stale = true;
            throw error(FailureKind::TIMED_OUT, W::WSTATUS_TIMED_OUT, attempt);
        }
        TransferProgress progress;
        if (plugin().progressStatus(provider(), progress.done, progress.total, nullptr) == W::WSTATUS_OK)
            m_state->report(progress);
    }
    if (call.finished())
        return;
    if (m_dropped) {
        m_stale = true;
        throw error(FailureKind::DROPPED, W::WSTATUS_CANCELLED, attempt, "another plugin object of this process has dropped it");
    }
    TransferProgress sent;
    if (transfer && plugin().progressStatus(provider(), sent.done, sent.total, nullptr) == W::WSTATUS_OK && sent.done < sent.total)
        m_changing = false; // what has not arrived whole is not taken
    cancel(call, attempt, transfer);
}

/// Ends a call that runs. The plugin cancels transfers only; any other request is dropped with the plugin object.
void LocalLane::cancel(PluginCall& call, const std::string& attempt, bool transfer)
{
    if (transfer && plugin().cancel(provider(), &PluginCall::cancelled, nullptr) == W::WSTATUS_OK)
        m_bell->waitUntil(Bell::Clock::now() + CANCEL_TIME, [&] { return call.finished() || m_dropped; });
    m_stale = !call.finished();
    if (m_stale || call.status() == W::WSTATUS_CANCELLED)
        throw wishError(attempt);
}

void LocalLane::await(const std::string& attempt, Fetch& fetch)
{
    const bool ended = m_bell->waitUntil(Bell::Clock::now() + patience(),
                                         [&] { return fetch.ended() || m_state->wish() != CallState::Wish::NONE; });
    if (fetch.ended()) {
        if (fetch.status() < 0)
            throw fetchError(fetch, attempt);
        return;
    }
    fetch.drop();
    throw ended ? wishError(attempt) : error(FailureKind::TIMED_OUT, W::WSTATUS_TIMED_OUT, attempt);
}

void LocalLane::checkWish(const std::string& attempt) const
{
    if (m_state->wish() != CallState::Wish::NONE)
        throw wishError(attempt);
}

CallError LocalLane::wishError(const std::string& attempt) const
{
    CallFailure failure = m_state->granted();
    failure.attempt = attempt;
    return CallError(std::move(failure));
}

CallError LocalLane::error(FailureKind kind, W::WSTATUS status, const std::string& attempt, std::string detail) const
{
    return CallError({kind, status, attempt, m_address, std::move(detail)});
}

CallError LocalLane::pluginError(FailureKind kind, W::WSTATUS status, const std::string& attempt)
{
    m_exchange = HostEvents::instance().lastOfPlugins();
    CallFailure failure{kind, status, attempt, m_address, {}};
    tell(failure, m_exchange);
    return CallError(std::move(failure));
}

CallError LocalLane::fetchError(const Fetch& fetch, const std::string& attempt)
{
    m_exchange = fetch.exchange();
    const W::WSTATUS status = fetch.status();
    CallFailure failure{status < 0 ? kindOf(status) : FailureKind::FAILED, status, attempt, m_address, {}};
    tell(failure, m_exchange);
    if (status >= 0)
        failure.detail = "the service answers with HTTP " + std::to_string(failure.httpCode);
    return CallError(std::move(failure));
}

std::chrono::milliseconds LocalLane::patience() const { return m_state->options().patience.value_or(m_settings.patience); }

} // namespace kinloom
