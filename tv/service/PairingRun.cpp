// SPDX-License-Identifier: MIT
#include "tv/service/PairingRun.h"

#include "commandline/QrCode.h"
#include "tv/core/Log.h"

#include <algorithm>

namespace tv {

namespace {

using namespace std::chrono_literals;

constexpr auto PAUSE = 10s; ///< before a service that was away is asked for a code again

constexpr const char* NAMES[] = {"idle", "starting", "waiting", "denied", "expired", "failed"};

} // namespace

Json qrCodeOf(const std::string& text)
{
    try {
        const commandline::QrCode code(text);
        return {{"size", code.width()}, {"rows", code.rows()}};
    } catch (const std::runtime_error&) {
        return nullptr;
    }
}

PairingRun::PairingRun(std::string service, std::string deviceName, Hooks hooks)
    : m_service(std::move(service)), m_deviceName(std::move(deviceName)), m_hooks(std::move(hooks)), m_thread([this] { run(); })
{
}

PairingRun::~PairingRun() { stop(); }

void PairingRun::stop()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        if (m_underWay)
            m_underWay->ring();
    }
    m_woken.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void PairingRun::begin()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_wanted = true;
    m_woken.notify_all();
}

void PairingRun::end()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_wanted = false;
        if (m_underWay)
            m_underWay->ring();
    }
    set(State::IDLE);
}

Json PairingRun::state() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_state == State::IDLE)
        return nullptr;
    Json state = {{"user_code", nullptr},
                  {"verification_uri", nullptr},
                  {"verification_uri_complete", nullptr},
                  {"expires_in", nullptr},
                  {"state", NAMES[static_cast<std::size_t>(m_state)]},
                  {"message", m_message.empty() ? Json(nullptr) : Json(m_message)},
                  {"qr", nullptr}};
    if (m_code && m_state == State::WAITING) {
        const auto left = std::chrono::duration_cast<std::chrono::seconds>(m_codeEnds - std::chrono::steady_clock::now());
        state["user_code"] = m_code->userCode;
        state["verification_uri"] = m_code->address;
        state["verification_uri_complete"] = m_code->completeAddress;
        state["expires_in"] = std::max<std::int64_t>(0, left.count());
        state["qr"] = qrCodeOf(m_code->completeAddress);
    }
    return state;
}

void PairingRun::set(State state, const std::string& message)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_state = state;
        m_message = message;
    }
    m_hooks.changed();
}

void PairingRun::run()
{
    while (true) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_woken.wait(lock, [this] { return m_ending || m_wanted; });
            if (m_ending)
                return;
        }
        attempt();
    }
}

/// Shows codes until one is approved, or is not to be.
void PairingRun::attempt()
{
    set(State::STARTING);
    kinloom::PairingOrder order;
    order.service = m_service;
    order.deviceName = m_deviceName;
    order.shown = [this](const kinloom::PairingCode& code) {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_code = code;
            m_codeEnds = std::chrono::steady_clock::now() + code.lifetime;
        }
        set(State::WAITING);
    };
    kinloom::CallOptions options;
    options.interruption.emplace();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_ending || !m_wanted)
            return;
        m_underWay = options.interruption;
    }
    const kinloom::Pairing pairing(std::move(order), options);
    const auto outcome = pairing.call().outcome();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_underWay.reset();
        m_code.reset();
        if (m_ending || !m_wanted)
            return;
        m_state = State::STARTING; // nobody is to look for a code any more, whatever comes next
    }
    if (!outcome) {
        if (goOnAfter(outcome.failure()))
            return;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_wanted = false;
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_wanted = false;
    }
    try {
        m_hooks.paired(outcome.value());
        set(State::IDLE);
    } catch (const std::exception& error) {
        log(error.what());
        set(State::FAILED, error.what());
    }
}

/// \return whether another code is to be asked for.
bool PairingRun::goOnAfter(const kinloom::CallFailure& failure)
{
    if (failure.kind == kinloom::FailureKind::TIMED_OUT) {
        set(State::EXPIRED);
        return true;
    }
    if (failure.kind == kinloom::FailureKind::REFUSED) {
        set(State::DENIED, failure.text());
        return false;
    }
    log(failure.text());
    set(State::FAILED, failure.text());
    if (failure.kind == kinloom::FailureKind::INVALID)
        return false;
    std::unique_lock<std::mutex> lock(m_mutex);
    m_woken.wait_for(lock, PAUSE, [this] { return m_ending || !m_wanted; });
    return true;
}

} // namespace tv
