// SPDX-License-Identifier: MIT
/// \file How far several transfers are.
#ifndef KINLOOM_OUTPUT_BARS_H
#define KINLOOM_OUTPUT_BARS_H

#include "output/Progress.h"

#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <utility>

namespace kinloom {

/// Shows transfers that go on beside each other on standard error. On a terminal each has a bar, and there is one for all where
/// there are more than one; they are drawn anew. Elsewhere a line tells of all every ten seconds, or of the one. All members may be
/// called from any thread.
class Bars {
public:
    using Clock = std::chrono::steady_clock;

    /// Columns and rows.
    struct Size {
        std::size_t columns = 80;
        std::size_t rows = 24;
    };
    /// Where they are shown.
    struct Place {
        bool watched = false;       ///< a terminal on which lines can be written anew
        std::function<Size()> size; ///< asked whenever something is drawn: a window changes
        std::function<void(const std::string&)> write;
    };

    /// Shows on standard error. \param count how many transfers there will be; 0: unknown. \param bytes of all of them; 0: unknown.
    Bars(std::size_t count, double bytes);
    /// For tests.
    Bars(std::size_t count, double bytes, Place place);
    /// Removes what is drawn.
    ~Bars();
    Bars(const Bars&) = delete;
    Bars& operator=(const Bars&) = delete;

    /// One transfer; it is shown from its first update to its end.
    class Bar {
    public:
        /// \param bytes that it will move, for what is told of all; 0: unknown.
        Bar(Bars& bars, std::string name, double bytes) : m_bars(bars), m_name(std::move(name)), m_bytes(bytes) {}
        ~Bar() { end(false); }
        Bar(const Bar&) = delete;
        Bar& operator=(const Bar&) = delete;

        void update(double done, double total, Clock::time_point now = Clock::now());
        /// Is shown no more. \param counts whether it is one of those that are done.
        void end(bool counts);

    private:
        friend class Bars;
        Bars& m_bars;
        const std::string m_name;
        const double m_bytes;
        Rate m_rate;
        double m_done = 0;
        double m_total = 0;
        bool m_shown = false;
        bool m_ended = false;
    };

    /// Writes something that stays, where the bars stood; they come again below it.
    void above(const std::function<void()>& write);

private:
    void show(Bar& bar, Clock::time_point now);
    void draw(Clock::time_point now);
    void erase();
    TransferState all() const;

    const std::size_t m_count;
    const double m_bytes;
    const Place m_place;
    std::mutex m_mutex;
    std::list<Bar*> m_shown; // guarded by the mutex, like all below
    std::size_t m_ended = 0;
    double m_endedBytes = 0;
    Rate m_rate;
    std::size_t m_lines = 0; ///< that are drawn
    Clock::time_point m_drawn;
    bool m_started = false;
};

} // namespace kinloom

#endif
