// SPDX-License-Identifier: MIT
/// \file How often something is tried again, and when. Of the library alone.
#ifndef OBJECTS_RETRIES_H
#define OBJECTS_RETRIES_H

#include <chrono>
#include <mutex>
#include <optional>

namespace objects {

/// How much is tried again.
struct RetryLimits {
    unsigned attempts = 5;                         ///< of a request, the first one included
    std::chrono::milliseconds firstPause{100};     ///< the longest before the second attempt; each further one may take twice that
    std::chrono::milliseconds longestPause{5'000}; ///< also where the store asks for a longer one
    unsigned budget = 100;                         ///< of all requests, see RetryBudget
};

/// What all requests have together for trying again. Each attempt takes from it, each request that went well gives back a part:
/// when nothing goes well any more, a store in trouble soon gets each request once. Safe for several threads.
class RetryBudget {
public:
    explicit RetryBudget(unsigned size) : m_size(size), m_left(size) {}

    /// \return whether there was enough for another attempt, which is taken then.
    bool take();
    void giveBack();

private:
    static constexpr unsigned PRICE = 5;

    const unsigned m_size;
    std::mutex m_mutex;
    unsigned m_left; // guarded by m_mutex
};

/// The attempts of one request.
class Retries {
public:
    /// \param stop a descriptor that ends all pauses when it is readable
    Retries(const RetryLimits& limits, RetryBudget& budget, std::chrono::steady_clock::time_point deadline, int stop)
        : m_limits(&limits), m_budget(&budget), m_deadline(deadline), m_stop(stop)
    {
    }

    /// Pauses before the next attempt, for a random time: many who failed together must not come back together. \param wish how
    /// long the store wants to be left alone. \return false when there is no further attempt.
    bool next(std::optional<std::chrono::seconds> wish = std::nullopt);
    /// It went well.
    void succeeded() { m_budget->giveBack(); }

private:
    const RetryLimits* m_limits;
    RetryBudget* m_budget;
    std::chrono::steady_clock::time_point m_deadline;
    int m_stop;
    unsigned m_made = 1;
};

} // namespace objects

#endif
