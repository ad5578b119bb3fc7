// SPDX-License-Identifier: MIT
/// \file The way to the service: lanes for what people wait for, for what goes on behind, and for what guests send.
#ifndef KINLOOM_TV_SERVICE_CONNECTION_H
#define KINLOOM_TV_SERVICE_CONNECTION_H

#include "kinloom/Lanes.h"

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace tv {

/// How the service takes what this television asks.
enum class Standing : std::uint8_t {
    OK,
    AWAY,    ///< no answer, too many requests, or a failure of its own: it passes
    REFUSED, ///< it does not know this television any more
};

const char* nameOf(Standing standing);

/// What a failed call means here.
enum class Trouble : std::uint8_t {
    AWAY,
    STRANGER,  ///< this device is not accepted: whether that is so, the sign-in tells
    NOT_FOUND, ///< there is no such thing, or none that this television may see
    REFUSED,   ///< the service does not take this one request
    ENDED,     ///< the program is ending, or this television belongs to nobody any more
};

Trouble troubleOf(const kinloom::CallFailure& failure);

/// A call that has failed.
class CallTrouble : public std::runtime_error {
public:
    CallTrouble(Trouble trouble, kinloom::CallFailure failure)
        : std::runtime_error(failure.text()), m_trouble(trouble), m_failure(std::move(failure))
    {
    }
    Trouble trouble() const { return m_trouble; }
    const kinloom::CallFailure& failure() const { return m_failure; }

private:
    Trouble m_trouble;
    kinloom::CallFailure m_failure;
};

/// Calls of the service. A refused request takes every other one of its plugin with it, so each kind of call has lanes of its own,
/// in processes of their own, which are started when they are needed first. All members may be called from any thread.
class Connection {
public:
    enum class Lane : std::uint8_t {
        PERSON, ///< somebody waits for it
        BEHIND, ///< nobody does
        GUEST,  ///< photos of guests
    };

    /// \param changed called when the standing has changed, on any thread, with nothing locked
    /// \param doubted called when a call shows that the service may not accept this device any more
    Connection(std::function<void()> changed, std::function<void()> doubted);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    /// Ends every call.
    ~Connection();

    /// Begins with these credentials; what is under way with others ends.
    void begin(const kinloom::Settings& settings);
    /// Belongs to nobody: what is under way ends, and what is called fails as ENDED.
    void end();
    bool hasBegun() const;

    /// Makes a call and waits for its end. Throws CallTrouble.
    template <class Order>
    typename Order::Result call(Lane lane, Order order, std::optional<std::chrono::milliseconds> patience = std::nullopt)
    {
        return valueOf(submit(lane, std::move(order), patience));
    }
    /// Begins a call; what it comes to is asked with valueOf.
    template <class Order>
    kinloom::Call<typename Order::Result> submit(Lane lane, Order order,
                                                 std::optional<std::chrono::milliseconds> patience = std::nullopt)
    {
        kinloom::CallOptions options;
        options.patience = patience;
        return lanes(lane)->submit(std::move(order), options);
    }
    template <class Value> Value valueOf(const kinloom::Call<Value>& call)
    {
        auto outcome = call.outcome();
        if (!outcome)
            fail(outcome.failure());
        note(Standing::OK);
        return std::move(outcome).value();
    }
    /// For calls whose progress is of interest.
    std::shared_ptr<kinloom::Lanes> lanes(Lane lane);
    /// Notes how a call has ended that valueOf was not asked of. \return what it means.
    Trouble noteFailure(const kinloom::CallFailure& failure);

    Standing standing() const { return m_standing; }
    /// Only REFUSED does not come and go by itself.
    void setStanding(Standing standing);

private:
    [[noreturn]] void fail(const kinloom::CallFailure& failure);
    void note(Standing standing);

    const std::function<void()> m_changed;
    const std::function<void()> m_doubted;
    std::atomic<Standing> m_standing{Standing::OK};
    mutable std::mutex m_mutex;
    std::optional<kinloom::Settings> m_settings;                 // guarded by m_mutex
    std::array<std::shared_ptr<kinloom::Lanes>, 3> m_lanes = {}; // guarded by m_mutex
};

} // namespace tv

#endif
