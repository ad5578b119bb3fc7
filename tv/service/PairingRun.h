// SPDX-License-Identifier: MIT
/// \file Being taken in by a family, without anybody typing here.
#ifndef KINLOOM_TV_SERVICE_PAIRINGRUN_H
#define KINLOOM_TV_SERVICE_PAIRINGRUN_H

#include "kinloom/Pairing.h"
#include "tv/core/Json.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace tv {

/// Asks a service for a code, shows it, and waits until somebody takes this television in; a code that ends is followed by another
/// one, and a service that is away is waited for. All members may be called from any thread.
class PairingRun {
public:
    struct Hooks {
        std::function<void()> changed;                            ///< what state() gives has changed
        std::function<void(const kinloom::PairedDevice&)> paired; ///< on the run's thread; the run is over. May throw.
    };

    /// \param service its address
    PairingRun(std::string service, std::string deviceName, Hooks hooks);
    PairingRun(const PairingRun&) = delete;
    PairingRun& operator=(const PairingRun&) = delete;
    ~PairingRun();

    /// Begins, or begins anew after a refusal.
    void begin();
    /// Ends it; nothing is shown any more.
    void end();
    /// Ends it for good, and waits for that.
    void stop();

    /// What the page shows; null while there is nothing to be paired.
    Json state() const;

private:
    enum class State { IDLE, STARTING, WAITING, DENIED, EXPIRED, FAILED };

    void run();
    void attempt();
    bool goOnAfter(const kinloom::CallFailure& failure);
    void set(State state, const std::string& message = {});

    const std::string m_service;
    const std::string m_deviceName;
    const Hooks m_hooks;
    mutable std::mutex m_mutex;
    std::condition_variable m_woken;
    State m_state = State::IDLE; // guarded by m_mutex, like all below
    std::string m_message;
    std::optional<kinloom::PairingCode> m_code;
    std::chrono::steady_clock::time_point m_codeEnds;
    std::optional<kinloom::Interruption> m_underWay;
    bool m_wanted = false;
    bool m_ending = false;
    std::thread m_thread;
};

/// The QR code of a text as rows of "0" and "1"; null for what fits into none.
Json qrCodeOf(const std::string& text);

} // namespace tv

#endif
