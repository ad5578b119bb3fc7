// SPDX-License-Identifier: MIT
/// \file What the service says on standard error: a line for each event, as a journal of the system takes it.
#ifndef KINLOOMD_CORE_LOG_H
#define KINLOOMD_CORE_LOG_H

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace kinloomd {

/// How much a line matters, in the numbers of syslog.
enum class Priority {
    FAILURE = 3, ///< something could not be done
    WARNING = 4, ///< something will go wrong, or may have
    NOTICE = 5,  ///< something that is worth a look
    INFO = 6,    ///< what happens every day
};

/// Writes "<PRIORITY>TIME TEXT" and the end of the line in one piece. Any thread may call it.
void writeLog(Priority priority, std::string_view text);

/// A text of a stranger as a line of the log may hold it: one line, nothing that moves a terminal's cursor or turns its direction
/// of writing, a backslash doubled. \param limit in bytes; what is longer ends with "...".
std::string loggable(std::string_view bytes, std::size_t limit);

/// Keeps one kind of line from filling the log. Safe for several threads.
class LogThrottle {
public:
    /// \param lines so many in a row, and so many more in each period.
    LogThrottle(unsigned lines, std::chrono::seconds period) : m_lines(lines), m_period(period) {}

    /// \return nothing when the line is to be left out; else how many have been since the last one that was not.
    std::optional<unsigned> admit();

private:
    using Clock = std::chrono::steady_clock;

    const unsigned m_lines;
    const std::chrono::seconds m_period;
    std::mutex m_mutex;
    Clock::time_point m_begun; // guarded by m_mutex
    unsigned m_written = 0;    ///< since then; guarded by m_mutex
    unsigned m_leftOut = 0;    // guarded by m_mutex
};

} // namespace kinloomd

#endif
