// SPDX-License-Identifier: MIT
/// \file How far a transfer is.
#ifndef KINLOOM_OUTPUT_PROGRESS_H
#define KINLOOM_OUTPUT_PROGRESS_H

#include <chrono>
#include <deque>
#include <string>

namespace kinloom {

/// The speed of a transfer over its last seconds.
class Rate {
public:
    using Clock = std::chrono::steady_clock;

    void add(double bytes, Clock::time_point at);
    /// Bytes a second; 0 while unknown.
    double perSecond() const;

private:
    std::deque<std::pair<Clock::time_point, double>> m_samples;
};

/// What is known of a transfer at a moment.
struct TransferState {
    std::string name;
    double done = 0;
    double total = 0; ///< 0: unknown
    double rate = 0;  ///< bytes a second; 0: unknown
};

/// A time for people: "8 s", "1 min 05 s", "2 h 10 min".
std::string durationText(double seconds);

/// Name, bar, percentage, bytes, rate and time left, in at most \p columns columns.
std::string progressBar(const TransferState& state, std::size_t columns);
/// The same in words, for a line in a log.
std::string progressLine(const TransferState& state);

} // namespace kinloom

#endif
