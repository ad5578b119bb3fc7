// SPDX-License-Identifier: MIT
/// \file How far a transfer is.
#ifndef KINLOOM_OUTPUT_PROGRESS_H
#define KINLOOM_OUTPUT_PROGRESS_H

#include <chrono>
#include <deque>
#include <functional>
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

/// Name, bar, percentage, bytes, rate and time left, in at most \p columns columns.
std::string progressBar(const TransferState& state, std::size_t columns);
/// The same in words, for a line in a log.
std::string progressLine(const TransferState& state);

/// Shows a transfer on standard error: a bar that is drawn anew on a terminal, a line every ten seconds elsewhere.
class Progress {
public:
    using Clock = std::chrono::steady_clock;

    /// Shows on standard error.
    explicit Progress(std::string name);
    /// For tests: writes to \p write; \p watched as a terminal of \p columns columns.
    Progress(std::string name, bool watched, std::size_t columns, std::function<void(const std::string&)> write);
    /// Removes the bar.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Takes note of how far the transfer is.
    void update(double done, double total, Clock::time_point now = Clock::now());

private:
    std::string m_name;
    bool m_watched;
    std::size_t m_columns;
    std::function<void(const std::string&)> m_write;
    Rate m_rate;
    bool m_drawn = false;
    Clock::time_point m_lastShown;
    bool m_started = false;
};

} // namespace kinloom

#endif
